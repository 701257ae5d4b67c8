// SPDX-License-Identifier: Apache-2.0
#include "host/services/shell.h"

#include "host/parts.h"
#include "platform/command_shell.h"

char hdm_pd_dump_one_line[256];

int cmd_prt(void *shell_context, const char *line, int flags) {
  host::Parts &parts = host::live();
  if (parts.faults.enter(host::services::Call::cmd_prt) != 0) {
    return -1;
  }
  if (shell_context != &parts.shell || line == nullptr || flags != 0) {
    parts.violations.add("cmd_prt: bad argument");
    return -1;
  }
  return parts.shell.print(line) ? 0 : -1;
}
