// How commands tell the packets that they work on.
#ifndef APP_COMMANDS_PACKETS_H
#define APP_COMMANDS_PACKETS_H

#include <string_view>

namespace app {

// Whether a word begins the description of a packet, which has fields; anything else names a capture.
bool is_description(std::string_view word);

}  // namespace app

#endif
