// What a list of slave nodes has to bring about.
#ifndef ORV_BOOTS_EXPECTEDSLAVES_H
#define ORV_BOOTS_EXPECTEDSLAVES_H

#include <cstdint>
#include <string_view>
#include <vector>

#include "ExpectedOptions.h"

namespace boots {

// Appends the steps of one list "NID:IP:PORT#NID:IP:PORT...".
//   counter  in: slaves counted before in this --startup argument, less one for the last; out: likewise
void expectSlaves(std::string_view list, uint32_t &counter, std::vector<Step> &steps);

}  // namespace boots

#endif
