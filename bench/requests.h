// SPDX-License-Identifier: Apache-2.0
// Requests as the OpenFlow agent sends them.
#ifndef BENCH_REQUESTS_H
#define BENCH_REQUESTS_H

#include <cstdint>
#include <vector>

namespace bench {

using Bytes = std::vector<uint8_t>;

// Flows are known by their sequence numbers. The lower the number, the stronger the flow; by turns they are IPv4 flows
// that permit, ARP flows that deny, and MAC flows with two output ports.
using SeqNos = std::vector<uint32_t>;

Bytes add_request(const SeqNos &seq_nos);

// Gives flows the next action: deny, two output ports, permit.
Bytes modify_request(const SeqNos &seq_nos);

Bytes delete_request(const SeqNos &seq_nos);
Bytes purge_request();

// Whether a flow that was added matches ARP packets alone.
bool is_for_arp(uint32_t seq_no);

// The totals of some flows, and of all.
Bytes listed_query(const SeqNos &seq_nos);
Bytes query_of_all();

}  // namespace bench

#endif
