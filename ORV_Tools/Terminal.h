// Colours on standard output, where somebody looks at it: never in a pipe or a file unless asked for.
#ifndef ORV_TOOLS_TERMINAL_H
#define ORV_TOOLS_TERMINAL_H

#include <string>
#include <string_view>

namespace orv {

enum class ColourUse {
  AUTO,  // when standard output is a terminal that can show them and NO_COLOR is not set
  ALWAYS,
  NEVER
};

// What is written afterwards follows it; AUTO without a call.
void useColours(ColourUse use);

bool outputHasColours();

// True when standard output is a terminal, whatever the colours: progress and what is refreshed in place need one.
bool outputIsTerminal();

// The width of the terminal in columns; 80 where there is none or it does not tell.
unsigned terminalColumns();

// Its height in lines; 24 where there is none or it does not tell.
unsigned terminalLines();

enum class Colour { BOLD, DIM, RED, GREEN, YELLOW, BLUE, CYAN };

// `text` in that colour, or as it is where the output has none.
std::string coloured(Colour colour, std::string_view text);

}  // namespace orv

#endif
