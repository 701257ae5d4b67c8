// The values of match fields as they are written. Each reader throws a TextError for what it cannot use.
#ifndef APP_SYNTAX_FIELD_VALUES_H
#define APP_SYNTAX_FIELD_VALUES_H

#include "agent/flow.h"
#include "agent/text.h"
#include "host/services/interfaces.h"

namespace app {

using FieldReader = agent::Masked (*)(const agent::Word &value, const host::services::Interfaces &interfaces);

agent::Masked read_in_port(const agent::Word &value, const host::services::Interfaces &interfaces);

// aa:bb:cc:dd:ee:ff, with a mask of the same form behind '/'.
agent::Masked read_mac(const agent::Word &value, const host::services::Interfaces &);

// A.B.C.D, with a prefix length or a mask behind '/'.
agent::Masked read_ip(const agent::Word &value, const host::services::Interfaces &);

agent::Masked read_ethertype(const agent::Word &value, const host::services::Interfaces &);
agent::Masked read_vlan(const agent::Word &value, const host::services::Interfaces &);
agent::Masked read_tos(const agent::Word &value, const host::services::Interfaces &);
agent::Masked read_protocol(const agent::Word &value, const host::services::Interfaces &);

// N or 0xN, with a mask of the same form behind '/'.
agent::Masked read_transport_port(const agent::Word &value, const host::services::Interfaces &);
agent::Masked read_icmp_number(const agent::Word &value, const host::services::Interfaces &);

}  // namespace app

#endif
