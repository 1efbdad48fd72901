// The tag by which a program that reports its readiness is known to be online: "eu.NAME.ready" for the EU of that name.
#ifndef ORV_COMMON_READYTAG_H
#define ORV_COMMON_READYTAG_H

#include <string>
#include <string_view>

namespace orv {

std::string readyTagOf(std::string_view euName);

// The name of the EU whose tag it is; empty for any other tag.
std::string_view euOfReadyTag(std::string_view tag);

}  // namespace orv

#endif
