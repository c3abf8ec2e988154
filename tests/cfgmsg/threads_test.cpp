// SPDX-License-Identifier: Apache-2.0
// Requests from many threads at once: each gets its own answer. Meant for the thread sanitizer.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "byod_tlv.h"
#include "cfgmsg/requests.h"
#include "support/platform_faults.h"
#include "support/scripted_peer.h"

namespace {

using namespace support;
using namespace requests;
using Connection = ScriptedPeer::Connection;

constexpr int kThreads = 8;
constexpr int kRounds = 25;
constexpr int kRequests = 6;

// Answers with what was asked, so that a mixed-up answer shows.
void Echo(Connection& c) {
  const Elements request = c.Receive();
  Elements reply = {Number(12, 0)};
  uint32_t kind = 99;
  for (const Element& element : request) {
    if (element.type == 2) kind = static_cast<uint8_t>(element.bytes[3]);
  }
  switch (kind) {
    case BYOD_MSG_UARULE:
    case BYOD_MSG_MACRULE:
      for (const Element& element : request) {
        if (element.type == 5 || element.type == 6) reply.push_back(element);
      }
      break;
    case BYOD_MSG_MAC_VALUE:  // the code is the last four bytes of the address
      reply = {Bytes(12, request[2].bytes.substr(2, 4))};
      break;
    case BYOD_MSG_UA_LIST:
      c.Send({Number(12, BYOD_ERR_CONTINUE), Nested(100, {Text(5, "a")})});
      reply.push_back(Nested(100, {Text(5, "b")}));
      break;
    case BYOD_MSG_ORDER:
      reply = {Number(12, 0), Number(15, 2), Number(15, 1), Number(15, 0)};
      break;
    default:
      reply.push_back(Number(13, 1000 + kind));
  }
  c.Send(reply);
  c.ClientCloses();
}

thread_local int rules_listed = 0;

uint32_t CountListed(const void*) {
  ++rules_listed;
  return 0;
}

void Ask(uint32_t thread, std::atomic<int>& wrong) {
  for (uint32_t round = 0; round < kRounds; ++round) {
    const uint32_t own = thread * 1000 + round + 1;
    const uint8_t mac[6] = {0, 0, 0, 0, static_cast<uint8_t>(own >> 8), static_cast<uint8_t>(own)};
    if (BYOD_cfgmsg_SetMacValue(1, mac, kMask) != own) ++wrong;

    const std::string keyword = "agent " + std::to_string(own);
    const Owned<ByodUserAgentRule> agent(BYOD_cfgmsg_GetUserAgentRule(keyword.c_str(), 2, 0, 2));
    if (agent == nullptr || agent->keyword != keyword) ++wrong;

    const Owned<ByodMacRule> rule(BYOD_cfgmsg_GetMacRule(mac, 2, 0));
    if (rule == nullptr || std::memcmp(rule->mac, mac, 6) != 0) ++wrong;

    uint32_t count = 0;
    if (BYOD_cfgmsg_GetRulesCountByType(thread, &count) != 0) ++wrong;
    if (count != 1000 + (thread < 2 ? thread + 4 : 6)) ++wrong;

    ByodOrder order = {};
    if (BYOD_cfgmsg_GetOrder(&order) != 0 || order.slots[0] != 2 || order.slots[2] != 0) ++wrong;

    rules_listed = 0;
    if (BYOD_cfgmsg_GetAndShowUserAgentRules(CountListed) != 0 || rules_listed != 2) ++wrong;
  }
}

TEST(ManyThreads, EachRequestGetsItsOwnAnswer) {
  PlatformFaults::Reset();
  std::atomic<int> wrong = 0;
  ScriptedPeer peer(Echo, kThreads * kRounds * kRequests, kThreads);
  std::vector<std::thread> threads;
  for (uint32_t i = 0; i < kThreads; ++i)
    threads.emplace_back(Ask, i, std::ref(wrong));
  for (std::thread& thread : threads)
    thread.join();
  peer.Join();
  EXPECT_EQ(wrong, 0);
  EXPECT_EQ(peer.accepted(), kThreads * kRounds * kRequests);
  EXPECT_TRUE(PlatformFaults::Alive().empty());
  EXPECT_EQ(PlatformFaults::WrongDestructions(), 0);
}

}  // namespace
