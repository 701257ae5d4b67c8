// SPDX-License-Identifier: Apache-2.0
#include "app/views/tcam_map.h"

#include <array>
#include <iomanip>
#include <map>
#include <string>

#include "agent/table_view.h"
#include "host/audit.h"
#include "oftab/oftab.h"

namespace app {

using namespace agent;

namespace {

constexpr size_t kRow = 64;  // indices in a row

enum Mark : char {
  kFree = '.',
  kLive = '#',
  kHole = 'o',
  kStranded = '!',
  kStray = '?',
  kCatchAll = 'C',
  kOther = 'x'
};

struct Legend {
  Mark mark;
  const char *text;
};

constexpr Legend kLegends[] = {
    {kLive, "live flow"},
    {kHole, "hole that a deleted flow left"},
    {kOther, "flow or catch-all that stands otherwise in the hardware: 'audit' says how"},
    {kStranded, "stranded: left by a request that failed, or an erasure that was refused"},
    {kStray, "valid, but not the library's: written directly"},
    {kCatchAll, "catch-all entry"},
    {kFree, "free"},
};

std::array<Mark, TCAM_INDICES> marks_of(host::Switch &device, const host::AuditExceptions &exceptions) {
  const host::asic::Asic &asic = device.asic();
  std::array<Mark, TCAM_INDICES> marks;
  marks.fill(kFree);
  for (const uint16_t index : asic.tcam().valid_indices()) {
    marks[index] = kStray;
  }
  for (const uint16_t index : host::stranded_indices(asic)) {
    marks[index] = kStranded;
  }
  for (size_t i = 0; i < table_records().size(); ++i) {
    Mark &mark = marks[oftab_hw_rsrc_g.current_table->tcam_st_idx + i];
    if (is_live(table_records()[i])) {
      mark = kLive;
    } else if (mark == kFree) {
      mark = kHole;
    }
  }
  if (asic.tcam().at(OFTAB_CATCH_ALL_INDEX).valid()) {
    marks[OFTAB_CATCH_ALL_INDEX] = kCatchAll;
  }
  for (const host::Finding &finding : host::audit(asic, exceptions)) {
    if (finding.index && (marks[*finding.index] == kLive || marks[*finding.index] == kCatchAll)) {
      marks[*finding.index] = kOther;
    }
  }
  return marks;
}

void print_legend(std::ostream &out, const std::string &picture) {
  std::map<char, size_t> counts;
  for (const char mark : picture) {
    ++counts[mark];
  }
  for (const Legend &legend : kLegends) {
    if (const size_t count = counts[legend.mark]; count != 0) {
      out << std::setw(6) << count << "  " << char{legend.mark} << "  " << legend.text << '\n';
    }
  }
}

}  // namespace

void print_tcam_map(std::ostream &out, Style style, host::Switch &device, const host::AuditExceptions &exceptions) {
  const auto marks = marks_of(device, exceptions);
  const std::string picture(marks.begin(), marks.end());
  for (size_t start = 0; start < picture.size(); start += kRow) {
    const size_t used = picture.find_first_not_of(kFree, start);  // the catch-all's row is always reached
    const size_t used_row = std::min(used, picture.size() - 1) / kRow * kRow;
    if (used_row > start) {
      out << style.faint(std::to_string(used_row - start) + " free") << '\n';
      start = used_row;
    }
    out << std::setw(4) << start << "  " << picture.substr(start, kRow) << '\n';
  }
  print_legend(out, picture);
}

}  // namespace app
