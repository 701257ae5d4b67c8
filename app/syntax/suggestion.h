// SPDX-License-Identifier: Apache-2.0
// What was probably meant by a word that is not known.
#ifndef APP_SYNTAX_SUGGESTION_H
#define APP_SYNTAX_SUGGESTION_H

#include <set>
#include <string>
#include <string_view>

namespace app {

// "; did you mean 'flows'?", after the nearest of the names; empty when none is near. A "=" or ":" behind a name is
// left out.
std::string suggestion(std::string_view word, const std::set<std::string_view> &names);
std::string suggestion(std::string_view word, const std::set<std::string> &names);

}  // namespace app

#endif
