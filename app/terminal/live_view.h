// SPDX-License-Identifier: Apache-2.0
// A picture on the terminal that is drawn anew until the operator has seen enough.
#ifndef APP_TERMINAL_LIVE_VIEW_H
#define APP_TERMINAL_LIVE_VIEW_H

#include <functional>
#include <ostream>

namespace app {

// Draws what `print` prints whenever `wait` is through, until 'q' or Ctrl-C. `wait` tells whether a key can be read.
// What stood on the terminal comes back.
void show_live(const std::function<void(std::ostream &)> &print, const std::function<bool()> &wait);

}  // namespace app

#endif
