#include "AaError.h"

#include "HexText.h"
#include "Operation.h"

using namespace orv::sim;
using orv::hexText;

extern "C" void AaErrorExceptionRaise(uint32_t kind, uint32_t code, uint32_t reserved1, uint32_t reserved2,
                                      const char *characters, const char *file, uint32_t line) {
  Simulation &simulation = beginOperation();
  simulation.record("AaErrorExceptionRaise(" + std::to_string(kind) + ", " + hexText(code) + ", " +
                    std::to_string(reserved1) + ", " + std::to_string(reserved2) + ", " + text(characters) + ", " +
                    text(file) + ", " + std::to_string(line) + ")");
}
