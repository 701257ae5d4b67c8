// Completion of command words.
#ifndef APP_TERMINAL_COMPLETION_H
#define APP_TERMINAL_COMPLETION_H

#include <set>
#include <string>
#include <string_view>

namespace app {

// The words that can stand where `line` ends, given the words before and what has been typed of the last one.
std::set<std::string> completions(std::string_view line);

// What all of a set of words begin with.
std::string common_beginning(const std::set<std::string> &words);

}  // namespace app

#endif
