// The values of match fields as they are written. Each reader throws a TextError for what it cannot use.
#ifndef APP_FIELD_VALUES_H
#define APP_FIELD_VALUES_H

#include "app/flow.h"
#include "app/text.h"
#include "host/services/interfaces.h"

namespace app {

using FieldReader = Masked (*)(const Word &value, const host::services::Interfaces &interfaces);

Masked read_in_port(const Word &value, const host::services::Interfaces &interfaces);

// aa:bb:cc:dd:ee:ff, with a mask of the same form behind '/'.
Masked read_mac(const Word &value, const host::services::Interfaces &);

// A.B.C.D, with a prefix length or a mask behind '/'.
Masked read_ip(const Word &value, const host::services::Interfaces &);

Masked read_ethertype(const Word &value, const host::services::Interfaces &);
Masked read_vlan(const Word &value, const host::services::Interfaces &);
Masked read_tos(const Word &value, const host::services::Interfaces &);
Masked read_protocol(const Word &value, const host::services::Interfaces &);

// N or 0xN, with a mask of the same form behind '/'.
Masked read_transport_port(const Word &value, const host::services::Interfaces &);
Masked read_icmp_number(const Word &value, const host::services::Interfaces &);

}  // namespace app

#endif
