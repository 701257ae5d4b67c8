// SPDX-License-Identifier: Apache-2.0
#include "oftab/trace.h"

namespace oftab::trace {

void write_prefix(level of, const site &at) {
  fprintf(dbg_out_file, of == WARNING ? "%s %s[%s:%d]:" : "[%s]%s: %s(%d): ", hdm_ctime(), hdm_debug_elem_descr(of),
          at.function, at.line);
}

void record_event(event &record) {
  const size_t length = sizeof record.level + strlen(record.text) + 1;
  trk_hist_event(HISTORY_TYPE, static_cast<uint32_t>(length), &record);
}

}  // namespace oftab::trace
