// The trace of a boot: a line for each operation of the platform, each console line and each event of the node, in the
// one order in which they happened.
//
// A line is "SECONDS.mmm ACTOR TEXT". The actor is "main" or the EU as NUMBER:NAME, "handler" for what a signal handler
// does, "node" for what happens around the daemon. Nothing in a line depends on the machine: no address, no real time.
#ifndef ORV_SIMULATED_TRACE_H
#define ORV_SIMULATED_TRACE_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orv::sim {

// A text in double quotes; what would leave the line or its quotes is escaped (\", \\, \n, \xNN).
std::string quoted(std::string_view text);

class Trace {
 public:
  using Actor = uint32_t;
  static constexpr Actor NODE = 0;
  static constexpr Actor HANDLER = 1;
  static constexpr Actor MAIN = 2;

  Trace();

  // Forgets everything but keeps the memory.
  void clear();

  // A new actor, called "NUMBER:NAME".
  Actor addActor(uint32_t number, const std::string &name);

  void add(uint64_t atMs, Actor actor, std::string_view text);

  // The operations of which a boot makes by far the most, kept in a shorter form.
  void addTagTest(uint64_t atMs, Actor actor, const char *name, int32_t result);
  void addSleep(uint64_t atMs, Actor actor, uint32_t amount, uint32_t unit, int32_t result);
  void addCharacterRead(uint64_t atMs, Actor actor, uint32_t file, unsigned char character);

  size_t size() const {
    return entries_.size();
  }

  // One line, without its end.
  std::string line(size_t index) const;

  // All lines, each with its end.
  std::string text() const;

 private:
  enum class Kind : uint8_t { TEXT, TAG_TEST, SLEEP, CHARACTER_READ };
  struct Entry {
    uint64_t atMs = 0;
    Kind kind = Kind::TEXT;
    Actor actor = NODE;
    // TEXT: where the text begins and how long it is. TAG_TEST: the same of the name. SLEEP: amount and unit.
    // CHARACTER_READ: file and character.
    uint64_t first = 0;
    uint32_t second = 0;
    int32_t result = 0;
  };

  Entry &append(uint64_t atMs, Actor actor, Kind kind);
  void appendLine(std::string &to, const Entry &entry) const;

  std::vector<Entry> entries_;
  std::string texts_;
  std::vector<std::string> actors_;
  // Where the name of the last tag test stands: who waits for a tag tests the same one again and again.
  uint64_t lastName_ = 0;
  uint32_t lastNameLength_ = 0;
};

}  // namespace orv::sim

#endif
