// SPDX-License-Identifier: Apache-2.0
#include "host/asic/sdk_error.h"

namespace host::asic {

const char *name(SdkError error) {
  switch (error) {
    case SdkError::None:
      return "None";
    case SdkError::BadUnit:
      return "BadUnit";
    case SdkError::BadArgument:
      return "BadArgument";
    case SdkError::IndexOutOfRange:
      return "IndexOutOfRange";
    case SdkError::TcamFull:
      return "TcamFull";
    case SdkError::WriteForbidden:
      return "WriteForbidden";
    case SdkError::CountersExhausted:
      return "CountersExhausted";
    case SdkError::UnknownCounter:
      return "UnknownCounter";
    case SdkError::BadTreeIndex:
      return "BadTreeIndex";
    case SdkError::TreeExists:
      return "TreeExists";
    case SdkError::TreesExhausted:
      return "TreesExhausted";
    case SdkError::UnknownTree:
      return "UnknownTree";
    case SdkError::BadBitmapSize:
      return "BadBitmapSize";
    case SdkError::UnknownAttribute:
      return "UnknownAttribute";
    case SdkError::NoBridgeDomain:
      return "NoBridgeDomain";
    case SdkError::UnknownPort:
      return "UnknownPort";
    case SdkError::UnknownStaticMatch:
      return "UnknownStaticMatch";
  }
  return "unknown error";
}

}  // namespace host::asic
