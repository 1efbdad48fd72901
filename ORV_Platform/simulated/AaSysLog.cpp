#include "AaSysLog.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "Operation.h"

using namespace orv::sim;

extern "C" int32_t AaSysLogPrint(uint32_t severity, const char *format, ...) {
  Simulation &simulation = beginOperation();
  va_list arguments;
  va_start(arguments, format);
  char *made = nullptr;
  const int length = vasprintf(&made, format, arguments);
  va_end(arguments);
  const std::string line = length < 0 ? "" : std::string(made, static_cast<size_t>(length));
  if (length >= 0) std::free(made);
  const auto result = static_cast<int32_t>(simulation.answers().answer(Call::LOG_PRINT).value_or(0));
  simulation.record("AaSysLogPrint(" + std::to_string(severity) + ", " + text(format) +
                    ") = " + std::to_string(result) + ": " + quoted(line));
  return result;
}
