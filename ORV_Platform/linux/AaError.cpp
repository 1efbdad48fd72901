#include "AaError.h"

#include <cstdio>
#include <exception>
#include <string>
#include <utility>

#include "ExecutionUnits.h"
#include "Platform.h"
#include "RaisedError.h"
#include "StoreWriter.h"

namespace {

void recordError(uint32_t code, const std::string &text) {
  orv::nodeStore();  // a program that only raises errors is one of the node as well
  orv::Event event;
  event.kind = orv::EventKind::ERROR_RAISED;
  event.code = code;
  event.euId = orv::currentEu();
  event.text = text;
  orv::recordEvent(std::move(event));
  orv::flushRecords();  // what may follow is a reset of the board
  orv::platformComplain(orv::SEVERITY_ERROR, "raised error " + text);
}

}  // namespace

extern "C" void AaErrorExceptionRaise(uint32_t kind, uint32_t code, uint32_t, uint32_t, const char *text,
                                      const char *file, uint32_t line) {
  try {
    const orv::RaisedError error = {kind, code, text == nullptr ? "" : text, file == nullptr ? "" : file, line};
    recordError(code, orv::encodeRaisedError(error));
  } catch (const std::exception &) {
    std::fputs("Error/ORV/platform, out of memory: a raised error is lost\n", stderr);
  }
}
