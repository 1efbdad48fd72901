// The slave nodes of a start-up string: <nid>:<address>:<port>#<nid>:<address>:<port>.
#include <arpa/inet.h>

#include <algorithm>
#include <cstdlib>

#include "TextFields.h"
#include "check/FieldChecks.h"
#include "check/OptionChecks.h"
#include "check/StartupNumbers.h"

namespace orv::checking {
namespace {

constexpr CheckSeverity WARNING = CheckSeverity::WARNING;
constexpr CheckSeverity ERROR = CheckSeverity::ERROR;
// Beyond it the names of the tags do not fit into what the daemon has for them.
constexpr unsigned LAST_WHOLE_NUMBER = 99;
constexpr size_t ADDRESS_ROOM = 15;

class SlaveCheck {
 public:
  SlaveCheck(SourceText &source, unsigned number) : source_(source), number_(std::to_string(number)) {
    if (number <= LAST_WHOLE_NUMBER) return;
    isNumberTooLong_ = true;
  }

  void check(Span item) {
    if (item.length == 0) {
      source_.complain(item,
                       {WARNING, "empty-slave", "the first slave is empty",
                        "it counts as slave " + number_ + " all the same, and sets no tag", "the list without it"});
      return;
    }
    if (isNumberTooLong_) {
      source_.complain(
          item, {WARNING, "too-many-slaves", "this is slave " + number_,
                 "the names of its tags are cut: there is room for numbers up to " + std::to_string(LAST_WHOLE_NUMBER),
                 "a shorter list"});
    }
    const std::string_view text = source_.part(item);
    const size_t first = text.find(':');
    const size_t second = first == std::string_view::npos ? first : text.find(':', first + 1);
    if (second == std::string_view::npos) {
      return tell(item, "this is not <nid>:<address>:<port>", "no tag of slave " + number_ + " is set, without a word",
                  "0x2011:192.168.10.102:15156, for instance");
    }
    if (!checkNid({item.begin, first})) return;
    if (!checkAddress({item.begin + first + 1, second - first - 1})) return;
    checkPort({item.begin + second + 1, text.size() - second - 1});
  }

 private:
  void tell(Span span, const std::string &what, const std::string &why, const std::string &instead) {
    source_.complain(span, {ERROR, "bad-slave", what, why, instead});
  }

  bool checkNid(Span span) {
    const std::string text(source_.part(span));
    const uint16_t nid = toLow16(text.c_str());
    if (nid == 0) {
      tell(span, "the node id of slave " + number_ + " is 0", "no tag of this slave is set",
           "a number from 1 to 0xffff");
      return false;
    }
    checkStartupNumber(source_, span, StartupNumber::BITS_16, "node id");
    return true;
  }

  bool checkAddress(Span span) {
    const std::string text(source_.part(span).substr(0, ADDRESS_ROOM));
    in_addr address{};
    if (span.length <= ADDRESS_ROOM && inet_pton(AF_INET, text.c_str(), &address) == 1) return true;
    if (inet_pton(AF_INET, text.c_str(), &address) == 1) {
      source_.complain({span.begin + ADDRESS_ROOM, span.length - ADDRESS_ROOM},
                       {WARNING, "cut-field", "the address of slave " + number_ + " is too long",
                        "the daemon goes on with " + quoted(text), "an IPv4 address"});
      return true;
    }
    tell(span, "the address of slave " + number_ + " is no IPv4 address",
         "of this slave only the tag orv.demo.slave" + number_ + "nid is set", "192.168.10.102, for instance");
    return false;
  }

  void checkPort(Span span) {
    const std::string text(source_.part(span));
    if (toUnsigned32(text.c_str()) == 0) {
      return tell(span, "the port of slave " + number_ + " is 0",
                  "the tag orv.demo.slave" + number_ + "gwport is not set", "a number from 1 to 65535");
    }
    checkStartupNumber(source_, span, StartupNumber::PORT, "port");
  }

  SourceText &source_;
  std::string number_;
  bool isNumberTooLong_ = false;
};

}  // namespace

void checkSlavesPart(SourceText &source, Span part, unsigned &counter) {
  bool isFirst = true;
  for (size_t begin = part.begin; begin <= part.end();) {
    const size_t end = std::min(source.text().find('#', begin), part.end());
    if (isFirst || end > begin) {
      if (!isFirst) ++counter;
      SlaveCheck(source, counter + 1).check({begin, end - begin});
    }
    isFirst = false;
    begin = end + 1;
  }
}

}  // namespace orv::checking
