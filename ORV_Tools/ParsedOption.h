// Options whose text is more than CLI11 understands.
#ifndef ORV_TOOLS_PARSEDOPTION_H
#define ORV_TOOLS_PARSEDOPTION_H

#include <CLI/CLI.hpp>
#include <string>

namespace orv {

// An option whose text `take` understands or refuses; refused, it "is not `expected`".
template <typename Take>
CLI::Option *addParsed(CLI::App &command, const std::string &name, const std::string &description,
                       const std::string &expected, Take take) {
  return command.add_option_function<std::string>(
      name,
      [=](const std::string &text) {
        if (!take(text)) throw CLI::ValidationError(name, "\"" + text + "\" is not " + expected);
      },
      description);
}

// The same for one whose text `parse` makes a value of, or nothing.
template <typename Value, typename Parse>
CLI::Option *addParsedValue(CLI::App &command, const std::string &name, const std::string &description,
                            const std::string &expected, Value &value, Parse parse) {
  return addParsed(command, name, description, expected, [&value, parse](const std::string &text) {
    const auto parsed = parse(text);
    if (parsed) value = *parsed;
    return parsed.has_value();
  });
}

}  // namespace orv

#endif
