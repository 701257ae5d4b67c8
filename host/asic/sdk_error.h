// SPDX-License-Identifier: Apache-2.0
// Why the simulated SDK refuses a call.
#ifndef HOST_ASIC_SDK_ERROR_H
#define HOST_ASIC_SDK_ERROR_H

#include <cstdint>

namespace host::asic {

enum class SdkError : int32_t {
  None = 0,
  BadUnit = 101,          // a unit other than 0
  BadArgument = 102,      // a null pointer, or a reserved argument that is not 0
  IndexOutOfRange = 103,  // TCAM index above 4095
  TcamFull = 104,         // as many valid records as the TCAM was given room for
  WriteForbidden = 105,   // a TCAM write while a NoTcamWrites scope is open
  CountersExhausted = 106,
  UnknownCounter = 107,
  BadTreeIndex = 108,  // index 0, or wider than 14 bits
  TreeExists = 109,
  TreesExhausted = 110,
  UnknownTree = 111,
  BadBitmapSize = 112,  // a port group of other than 32 bytes
  UnknownAttribute = 113,
  NoBridgeDomain = 114,
  UnknownPort = 115,
  UnknownStaticMatch = 116,
};

// The name of an error, as written above.
const char *name(SdkError error);

}  // namespace host::asic

#endif
