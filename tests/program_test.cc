// SPDX-License-Identifier: Apache-2.0
// oftab-switch as its users start it: files and arguments in; output, complaints and exit status out.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;

std::string contents(const fs::path &path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct Invocation {
  std::string name;
  std::map<std::string, std::string> files;  // that stand in the program's directory
  std::string arguments;                     // as a shell reads them
  int status = 0;
  std::string out{};
  std::string complaints{};
};

class ProgramTest : public testing::TestWithParam<Invocation> {
 protected:
  ProgramTest() : directory_(fs::absolute("program_test." + GetParam().name)) { fs::create_directory(directory_); }
  ~ProgramTest() override { fs::remove_all(directory_); }

  const fs::path directory_;
};

TEST_P(ProgramTest, Runs) {
  const Invocation &invocation = GetParam();
  for (const auto &[name, text] : invocation.files) {
    std::ofstream(directory_ / name) << text;
  }
  const int status = std::system(("cd '" + directory_.string() + "' && " OFTAB_SWITCH " </dev/null " +
                                  invocation.arguments + " >out.txt 2>complaints.txt")
                                     .c_str());
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == invocation.status) << status;
  EXPECT_EQ(contents(directory_ / "out.txt"), invocation.out);
  EXPECT_EQ(contents(directory_ / "complaints.txt"), invocation.complaints);
}

std::string many_flows(size_t count) {
  std::string lines;
  for (size_t i = 0; i < count; ++i) {
    lines += "priority=" + std::to_string(i) + ",actions=drop\n";
  }
  return lines;
}

std::string repeated(const std::string &text, size_t count) {
  return count == 0 ? "" : text + repeated(text, count - 1);
}

Invocation misuse(const std::string &name, const std::string &arguments, const std::string &complaint) {
  return {name, {}, arguments, 64, "", complaint + "\nRun with --help for more information.\n"};
}

const Invocation kInvocations[] = {
    {"stdin", {{"script", "echo hello\nquit\nnonsense\n"}}, "<script", 0, "hello\n"},
    {"nul",
     {{"script", "add-flows a.flows\nsave x\0y\n"s}, {"a.flows", "ip,\0actions=drop\n"s}},
     "--keep-going run script",
     1,
     "",
     "a.flows:1:4: error: no NUL byte can stand in a line\nscript:1: error: a.flows: 1 bad line; nothing was sent\n"
     "script:2:7: error: no NUL byte can stand in a line\n"},
    {"failing_script_line",
     {{"script", "# a comment\necho before\n\nadd-flow tcp,actions=resubmit:3\necho behind\n"}},
     "run script",
     1,
     "before\n",
     "script:4:22: error: OpenFlow 1.0 has no action 'resubmit'\n"},
    {"unknown_command",
     {},
     "-c 'echo a; nonsense; echo b'",
     1,
     "a\n",
     "-c:1:9: error: unknown command 'nonsense'; try 'help'\n"},
    {"bad_flow_file",
     {{"bad.flows",
       "# two good, three bad\nactions=drop\r\n\npriority=7,tcp,tp_dst=99999,actions=drop\n"
       " ip,nw_dst=10.0.0.0/33 actions=drop\nudp,actions=output:49\narp,actions=normal"},
      {"script", "add-flow seq=5,arp,actions=drop\ntrace on calls\nadd-flows bad.flows\ntrace show calls\nflows\n"}},
     "--keep-going run script",
     1,
     "flow 5 added at index 2000\nIndex  Seq  Priority  Packets  Bytes  Actions  Match\n"
     "----------------------------------------------------\n 2000    5     32768        0      0  drop     arp\n"
     "1 flow\n",
     "bad.flows:4:23: error: a transport port is a number from 0 to 65535, not '99999'\n"
     "bad.flows:5:21: error: a prefix length is a number from 0 to 32, not '33'\n"
     "bad.flows:6:20: error: a port is a number from 1 to 48, not '49'\n"
     "script:3: error: bad.flows: 3 bad lines; nothing was sent\n"},
    {"flows_that_do_not_fit",
     {{"big.flows", many_flows(4096)}},
     "--keep-going -c 'add-flows big.flows; dump-aggregate'",
     1,
     "packet_count=0 byte_count=0 flow_count=4095\n",
     "-c:1: error: big.flows:4096: flow not added: the table is full: it holds 4095 flows (1 of 4096 changes "
     "refused)\n"},
    {"flows_follow_vlans_and_port_channels",
     {},
     "-c 'vlan 7 none; add-flow priority=5,dl_vlan=7,actions=output:1; port-channel create 9;"
     " add-flow priority=4,in_port=pc9,actions=output:2; port-channel delete 9; dump-flows -v; vlan 7 300;"
     " port-channel create 9; dump-flows -v; add-flow in_port=60,actions=1'",
     0,
     "VLAN 7 has bridge domain none\n"
     "flow 1 added at index 2000, on the CPU: VLAN 7 has no bridge domain\n"
     "pc9 created\n"
     "flow 2 added at index 2001\n"
     "pc9 deleted\n"
     "cookie=0x0, duration=0.000s, table=0, n_packets=0, n_bytes=0, priority=5,dl_vlan=7 actions=output:Eth1/1\n"
     "# CPU: VLAN 7 has no bridge domain\n"
     "cookie=0x0, duration=0.000s, table=0, n_packets=0, n_bytes=0, priority=4,in_port=pc9 actions=output:Eth1/2\n"
     "# CPU: pc9 does not exist\n"
     "VLAN 7 has bridge domain 300\n"
     "pc9 created\n"
     "cookie=0x0, duration=0.000s, table=0, n_packets=0, n_bytes=0, priority=5,dl_vlan=7 actions=output:Eth1/1\n"
     "# hardware\n"
     "cookie=0x0, duration=0.000s, table=0, n_packets=0, n_bytes=0, priority=4,in_port=pc9 actions=output:Eth1/2\n"
     "# hardware\nflow 3 added at index 1998, on the CPU: port 60 does not exist\n",
     ""},
    {"counters_cleared_of_hardware_and_cpu",
     {},
     "-c 'add-flow tcp,actions=output:2; add-flow udp,actions=FLOOD; packet tcp; packet udp; dump-aggregate; "
     "stats clear; dump-aggregate; packet tcp; packet udp; packet udp; advance 1; dump-flows' | grep -v -e matched -e "
     "added -e clock",
     0,
     "packet_count=2 byte_count=128 flow_count=2\ncounters of 2 flows cleared\n"
     "packet_count=0 byte_count=0 flow_count=2\n"
     "cookie=0x0, duration=1.000s, table=0, n_packets=2, n_bytes=128, priority=32768,udp actions=FLOOD\n"
     "cookie=0x0, duration=1.000s, table=0, n_packets=1, n_bytes=64, priority=32768,tcp actions=output:Eth1/2\n",
     ""},
    {"flow_files",
     {{"a.flows",
       "idle_timeout=60,priority=9,tcp,actions=output:1\npriority=8,udp actions=pc1\n"
       "add priority=9,tcp,actions=2\nmodify_strict priority=9,tcp,actions=output:3-4,7\ndelete udp\n"
       "priority=7,cookie=0x1f,arp,actions=controller:64\n"},
      {"b.flows",
       "\xEF\xBB\xBFpriority=7,cookie=31,arp actions=CONTROLLER:64\npriority=9,tcp,actions=normal\nactions=drop\n"}},
     "-c 'port-channel create 1; add-flows a.flows; dump-flows --sort priority; diff-flows b.flows' --keep-going",
     1,
     "pc1 created\n"
     "4 flows added, 2 other changes made; the table holds 2 flows at indices 1999 to 2000\n"
     "cookie=0x0, duration=0.000s, table=0, n_packets=0, n_bytes=0, priority=9,tcp actions=output:Eth1/3-4,7\n"
     "cookie=0x1f, duration=0.000s, table=0, n_packets=0, n_bytes=0, priority=7,arp actions=controller:64\n"
     "-priority=32768 actions=drop\n"
     "-priority=9,tcp actions=normal\n"
     "+priority=9,tcp actions=output:Eth1/3-4,7\n",
     "-c:1: error: 3 lines differ\n"},
    {"replaced_flows",
     {{"a.flows", "priority=7,arp,actions=drop\npriority=6,ip,actions=normal\n"}},
     "-c 'add-flow priority=6,ip,actions=drop; add-flow priority=6,ip,actions=1; add-flow ip,actions=1; "
     "replace-flows a.flows; diff-flows a.flows; advance 5; mod-flow --strict priority=7,arp,actions=2; "
     "add-flow hard_timeout=3,udp,actions=2; advance 3; dump-aggregate; del-flows out_port=2; flows action=normal'",
     0,
     "flow 1 added at index 2000\n"
     "flow 2 added at index 1999, in place of flow 1\n"
     "flow 1 added at index 1998\n"
     "2 flows added or replaced, 1 deleted; the table holds 2 flows at indices 1996 to 1998\n"
     "the clock stands at 5 s\n"
     "1 flow modified\n"
     "flow 2 added at index 1995\n"
     "the clock stands at 8 s\n"
     "packet_count=0 byte_count=0 flow_count=2\n"
     "1 flow deleted\n"
     "Index  Seq  Priority  Packets  Bytes  Actions  Match\n"
     "----------------------------------------------------\n"
     " 1997    3         6        0      0  normal   ip\n"
     "1 flow\n"},
    {"selections_that_leave_nothing_out",
     {{"delete", "delete hits=0\n"}},
     "--keep-going -c 'add-flow cookie=7,priority=5,ip,actions=1; add-flow idle_timeout=9,tcp,actions=2; "
     "del-flow n_packets=5; del-flow ,; del-flow idle_timeout=9; del-flow send_flow_rem; add-flows delete; "
     "del-flow --strict cookie=9,priority=5,ip; del-flow cookie=7; dump-aggregate'",
     1,
     "flow 1 added at index 2000\nflow 2 added at index 1999\n0 flows deleted\n1 flow deleted\n"
     "packet_count=0 byte_count=0 flow_count=1\n",
     "-c:1:103: error: say which flows: a match or seq=N\n"
     "-c:1:115: error: say which flows: a match or seq=N\n"
     "-c:1:126: error: flows are not selected by 'idle_timeout'\n"
     "-c:1:151: error: flows are not selected by 'send_flow_rem'\n"
     "delete:1:7: error: flows that a line of a file deletes are selected by match, priority and out_port\n"
     "-c:1: error: delete: 1 bad line; nothing was sent\n"},
    {"port_lists_as_views_print_them",
     {},
     "-c 'port-channel create 1 Eth1/5-6,8; add-flow seq=5000,actions=pc1; port-channel leave pc1 Eth1/5-6; "
     "mod-flow seq=5000,actions=FLOOD; port-channel join 1 9,Eth1/10-11; port-channel join 1 3-4,4'",
     1,
     "pc1 created\n"
     "flow 5000 added at index 2000, and does not follow the members of pc1: flows below number 4096 do\n"
     "pc1 has members Eth1/8; 1 flow did not follow, the first 5000: 'mod-flow' brings them up to date\n"
     "1 flow modified, now number 1, on the CPU: the hardware sends to ports and port channels only\n"
     "pc1 has members Eth1/8-11\n",
     "-c:1:190: error: Eth1/4 is named twice\n"},
    {"scripts_inside_scripts",
     {{"leaves", "add-flow ip,actions=1\nquit\nadd-flow tcp,actions=1\n"}, {"itself", "load itself\n"}},
     "-c 'source leaves; load leaves; dump-aggregate; load itself'",
     1,
     "flow 1 added at index 2000\nset-up loaded from leaves, 1 flow\npacket_count=0 byte_count=0 flow_count=1\n",
     "error: scripts run each other 16 deep\n" +
         repeated("itself:1: error: itself cannot be loaded; the set-up is what it was\n", 16) +
         "-c:1: error: itself cannot be loaded; the set-up is what it was\n"},
    {"load_that_fails",
     {{"bad", "add-flow actions=drop\nadd-flow tcp,actions=output:49\n"}},
     "--keep-going -c 'add-flow seq=9,tcp,actions=drop; save good; packet tcp; advance 10s; load .; load bad; "
     "dump-aggregate; advance 1; reset; load good; dump-flows'",
     1,
     "flow 9 added at index 2000\nset-up saved to good, 1 flow\n"
     "0.0.0.0:0 > 0.0.0.0:0 tcp length 64: matched flow 9 (index 2000, priority 32768): dropped\n"
     "the clock stands at 10 s\n"
     "packet_count=1 byte_count=64 flow_count=1\nthe clock stands at 11 s\n"
     "the switch is set up as at its start\nset-up loaded from good, 1 flow\n"
     "cookie=0x0, duration=0.000s, table=0, n_packets=0, n_bytes=0, priority=32768,tcp actions=drop\n",
     "-c:1: error: .: Is a directory\nbad:2:29: error: a port is a number from 1 to 48, not '49'\n"
     "-c:1: error: bad cannot be loaded; the set-up is what it was\n"},
    {"whole_set_up_saved",
     {{"a.flows",
       "priority=9,arp actions=mod_vlan_vid:5,mod_vlan_pcp:3,mod_dl_src:00:01:02:03:04:05,mod_dl_dst:00:00:00:00:00:00,"
       "mod_nw_src:10.0.0.1,mod_nw_dst:0.0.0.0,mod_nw_tos:32,mod_tp_src:1,mod_tp_dst:65535,output:Eth1/1-3,pc1\n"
       "priority=8,arp actions=strip_vlan,enqueue:Eth1/4:7,IN_PORT,FLOOD,ALL,LOCAL,normal,controller:64\n"
       "priority=7,arp actions=controller(app=3,max_len=9)\npriority=6,arp actions=output:Eth1/2,controller(app=3)\n"
       "priority=5,arp actions=drop\ncookie=0x7,idle_timeout=3,hard_timeout=9,send_flow_rem,in_port=pc2,actions=drop\n"
       "priority=65535,dl_vlan=9,actions=drop\npriority=65535,actions=drop\n"
       "in_port=60,actions=1\nin_port=0,actions=1\nin_port=65280,actions=1\nin_port=1009,actions=drop\n"
       "dl_vlan=4660,actions=1\ndl_vlan=65534,actions=drop\n"},
      {"set-up",
       "vlan 110 333; interface hw-lif 3 0x77; interface id 9 0x9ab; interface openflow 4 off; port-channel create 1\n"
       "port-channel create 2; port-channel create 3 6 5; interface id pc3 0xabc; interface openflow pc1 off\n"
       "interface add 2 9 pc2; catch-all normal,controller(app=5); cpu rate=77 packet-ins=0; add-flows a.flows\n"
       "diff-flows a.flows; vlan 9 none; port-channel delete 2; capacity counters 40; capacity trees 30; capacity tcam "
       "50\n"}},
     "-c 'save first; source set-up; save b; load b; save c; reset; save last' >out && " OFTAB_SWITCH
     " -c 'source b; save d; audit' >out && cmp b c && cmp b d && cmp first last && grep -v add-flow b",
     0,
     "# The set-up of a switch with 48 ports, for 'load'.\nvlan 110 333\ninterface hw-lif Eth1/3 0x77\n"
     "interface openflow Eth1/4 off\ninterface id Eth1/9 0x9ab\nport-channel create 1\ninterface openflow pc1 off\n"
     "port-channel create 3 Eth1/6 Eth1/5\ninterface id pc3 0xabc\nport-channel create 2\n"
     "interface add pc2 Eth1/2 Eth1/9\ncatch-all normal,controller(app=5)\ncpu rate=77 packet-ins=0\n"
     "port-channel delete 2\nvlan 9 none\ncapacity counters 40\ncapacity trees 30\ncapacity tcam 50\n"},
    {"catch_all_does_what_was_said_last",
     {},
     "-c 'catch-all normal,controller; packet tcp; catch-all controller; packet tcp; catch-all drop; packet tcp; "
     "fault qtr_custom_cache_unified_entry_set; catch-all normal; catch-all controller(app=8)' --keep-going 2>&1 | "
     "sed 's/.*entry: //'",
     0,
     "normal,controller\nnormal and a copy to the CPU (code 4)\ncontroller\ndropped and a copy to the CPU (code "
     "4)\ndrop\n"
     "dropped\n-c:1: error: catch-all: -1 (the hardware refused, or the library is not initialised): Installing "
     "unified "
     "catch all entry at 4095 failed\n-c:1:189: error: an application is a number from 1 to 7, not '8'\n"},
    {"shortened_names",
     {},
     "--keep-going -c 'q; exi; tab | head -1; sh pol; explain all in_port=1; add arp,actions=drop; port-channel joi 1 "
     "2; show; "
     "tr off ring; stats lst; fault libsdk_mcst_tree_creat; advance 10h; debug 106; dump-flows --sort=; source \"\"; "
     "mod-flow -v seq=1,actions=drop; packet'",
     1,
     "Flows                0\n"
     "00:00:00:00:00:00 > 00:00:00:00:00:00 type 0x0000 length 64 into Eth1/1\n"
     "index 4095 (the catch-all entry) matches: everything that is left\n  dropped\n",
     "-c:1:1: error: 'q' is too short: 'quit' is typed whole\n"
     "-c:1:4: error: 'exi' is too short: 'exit' is typed whole\n"
     "-c:1:24: error: 'sh' can be shadowed, show\n"
     "-c:1:55: error: 'add' can be add-flow, add-flows\n"
     "-c:1:94: error: pc1 does not exist\n"
     "-c:1:99: error: 'show' needs one of its commands behind it; try 'help show'\n"
     "-c:1:105: error: 'tr' can be trace, trees\n"
     "-c:1:124: error: 'stats' has no command 'lst'; did you mean 'list'?\n"
     "-c:1:135: error: no call 'libsdk_mcst_tree_creat' can fail; did you mean 'libsdk_mcst_tree_create'?\n"
     "-c:1:167: error: a time is 1 to 1000000 seconds or minutes, written 10, 10s or 2m, not '10h'\n"
     "-c:1:178: error: debug commands are 101 to 105 and 107 to 109, not '106'\n"
     "-c:1:201: error: flows are sorted by index, seq, priority, packets or bytes, not ''\n"
     "-c:1:211: error: the file is missing\n"
     "-c:1:223: error: unknown option '-v'\n"
     "-c:1:252: error: a capture, or the description of a packet, is missing\n"},
    {"what_the_hardware_refuses_to_erase",
     {},
     "--keep-going -c 'add-flow seq=1,actions=1; fault qtr_custom_cache_unified_entry_set always; del-flow seq=1; map "
     "| grep \"!\"'",
     1,
     "flow 1 added at index 2000\n"
     "1984  ................!...............................................\n"
     "     1  !  stranded: left by a request that failed, or an erasure that was refused\n",
     "-c:1: error: the flows are gone from the table, but the hardware refused to erase 1 record, the first at TCAM "
     "index "
     "2000, which still takes packets; 'repair' or the next change of flows tries again: the write of TCAM index 2000 "
     "was refused (SDK error 1), 2 of 4096 records valid\n"},
    {"known_state",
     {},
     "-c 'add-flow seq=1,actions=1; audit; write clear 2000 2000; audit; map | grep otherwise'",
     2,
     "flow 1 added at index 2000\naudit: tables and hardware agree\n"
     "syslog: installing unified catch all entry at :2000 success\nwritten\n"
     "index 2000 (flow 1): overwritten directly (repair)\naudit: tables and hardware agree, except 1 known\n"
     "     1  x  flow or catch-all that stands otherwise in the hardware: 'audit' says how\n"},
    {"ports_that_frames_came_in_by",
     {},
     "-c 'add-flow in_port=2,actions=output:2-3; add-flow in_port=3,actions=3; packet in_port=2; explain in_port=3; "
     "add-flow in_port=4,actions=in_port; packet in_port=4'",
     0,
     "flow 1 added at index 2000\nflow 2 added at index 1999\n"
     "00:00:00:00:00:00 > 00:00:00:00:00:00 type 0x0000 length 64: matched flow 1 (index 2000, priority 32768): Eth1/3 "
     "(not back out of the port that it came in by)\n"
     "00:00:00:00:00:00 > 00:00:00:00:00:00 type 0x0000 length 64 into Eth1/3\n"
     "index 1999 (flow 2, priority 32768) matches: in_port=Eth1/3\n  multicast index 8193, through its tree\n"
     "  no port (not back out of the port that it came in by)\n"
     "flow 3 added at index 1998, on the CPU: the hardware sends no packet back out of the port that it came in by\n"
     "00:00:00:00:00:00 > 00:00:00:00:00:00 type 0x0000 length 64: matched flow 3 (index 1998, priority 32768): on the "
     "CPU: flow 3 (priority 32768): IN_PORT\n",
     ""},
    {"text_for_the_terminal",
     {{"script",
       "echo \x1b[31m\necho gr\u00f6\u00dfe \u4e2d \U0001f600 \xc2\x9b"
       "31m \xff \xc0\xaf \xed\xa0\x80 \xe4\xb8\n"
       "echo p | (cat; echo q); echo \"a;b\" | cat; echo c | awk '{print $1; print \"d;e\"}'; echo f\n"
       "trace on file /dev/full\ndel-flows\nadd-flow actions=1\ndel-flows\n"}},
     "run script",
     1,
     "\\x1b[31m\ngr\u00f6\u00dfe \u4e2d \U0001f600 \\xc2\\x9b31m \\xff \\xc0\\xaf \\xed\\xa0\\x80 "
     "\\xe4\\xb8\np\nq\na;b\nc\nd;e\nf\n0 flows deleted\nflow 1 added at index 2000\n",
     "script:6: error: the trace file cannot be written, and is closed: No space left on device\n"},
    {"not_booted",
     {},
     "--no-boot --keep-going -c 'echo on; add-flow actions=drop; fault qtr_custom_cache_unified_entry_set; boot; boot; "
     "add-flow actions=drop'",
     1,
     "on\nflow 1 added at index 2000\n",
     "-c:1: error: the library is not initialised\n"
     "-c:1: error: the library could not be initialised: Installing unified catch all entry at 4095 failed\n"},
    misuse("unknown_option", "--loud", "The following argument was not expected: --loud"),
    misuse("script_beside_commands", "-c 'echo c' run script", "run excludes --commands"),
    misuse("commands_before_serve", "-c 'echo c' serve", "serve excludes --commands"),
    misuse("flag_before_serve", "--no-boot serve", "serve excludes --no-boot"),
    misuse("flag_before_attach", "--then-prompt attach", "attach excludes --then-prompt"),
    misuse("commands_twice", "-c a attach -c b", "--commands: At Most 1 required but received 2"),
    misuse("two_subcommands", "run script serve", "The following argument was not expected: serve"),
    misuse("no_script", "run ''", "SCRIPT: the name of a file is missing"),
    misuse("no_endpoint", "serve --listen tcp:[::1]", "--listen: 'tcp:[::1]' is a controller, not where to listen"),
    misuse("no_interface", "serve --port 1=", "--port: '1=' is not PORT=INTERFACE or PORT=tap:NAME"),
    misuse("no_port", "serve --port 49=lo", "--port: a port is a number from 1 to 48, not '49'"),
};

INSTANTIATE_TEST_SUITE_P(All, ProgramTest, testing::ValuesIn(kInvocations),
                         [](const auto &row) { return row.param.name; });

}  // namespace
