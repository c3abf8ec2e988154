// SPDX-License-Identifier: Apache-2.0
// How long does the daemon take to answer?
//
//   connect/PEER/CLIENTS         connect, ask for the number of User-Agent rules, read the answer,
//                                close: the time in the middle of all of them
//   stay/PEER/CLIENTS            ask for the attributes of a User-Agent among 10,000 rules, on a
//                                connection that stays: likewise
//   connect_rate/PEER/CLIENTS, stay_rate/PEER/CLIENTS
//                                the same, all clients as fast as they can: time per request
//
// PEER is the daemon, or an echo: a process that sends back the same bytes. Clients are threads of
// this process. The daemon's answers must be those of the library in this process.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <barrier>
#include <chrono>
#include <cstring>
#include <fstream>
#include <thread>

#include "byod_data.h"
#include "byod_order.h"
#include "byod_tlv.h"
#include "peers.h"
#include "ratio_report.h"
#include "real_strings.h"
#include "tlv/message.h"

namespace byod::bench {
namespace {

using Bytes = std::vector<uint8_t>;
using Clock = std::chrono::steady_clock;

constexpr size_t kRules = 10000;
constexpr size_t kQuestions = 1000;
constexpr int kMostClients = 8;
constexpr int kRequestsInABatch = 2000;
constexpr int kBatches = 25;

enum class Manner { kConnect, kStay };
enum class Measure { kMedian, kRate };

struct Subject {
  std::string name;
  std::string socket;
  bool echoes;
};

Bytes count_question;
std::vector<Bytes> questions;

Bytes BytesOf(uint32_t message) {
  Bytes bytes(TLV_GetMsgLen(message, tlv::kMemory));
  TLV_Flush(message, tlv::kMemory, static_cast<uint32_t>(bytes.size()),
            reinterpret_cast<uintptr_t>(bytes.data()));
  return bytes;
}

Bytes CountQuestion() {
  const tlv::Message message(TLV_Create());
  TLV_Append_UINT(message.get(), BYOD_TLV_OPTYPE, BYOD_OP_GET);
  TLV_Append_UINT(message.get(), BYOD_TLV_MSGTYPE, BYOD_MSG_UA_COUNT);
  return BytesOf(message.get());
}

Bytes AttributesQuestion(const ByodFingerPrint& fingerprint) {
  const tlv::Message message(BYOD_tlv_EncapFingerPrint(&fingerprint, BYOD_MSG_DEVATTR_BY_FP));
  return BytesOf(message.get());
}

ByodFingerPrint FingerPrintOf(const std::string& user_agent) {
  ByodFingerPrint fingerprint = {};
  std::strncpy(fingerprint.user_agent, user_agent.c_str(), sizeof fingerprint.user_agent - 1);
  return fingerprint;
}

std::string InQuotes(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text)
    quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
  return quoted + '"';
}

/// Writes the rules for the daemon, and loads them here.
void MakeRules(const std::vector<std::string>& expressions, const std::string& directory) {
  std::ofstream file(directory + "/user-agent.csv");
  file << "expression,name,vendor,category,os\n";
  BYOD_data_GlobalInfoInit(BYOD_NO_RULE_LIMIT);
  BYOD_order_Init();
  for (size_t i = 0; i < expressions.size(); ++i) {
    const std::string number = std::to_string(i);
    file << InQuotes(expressions[i]) << ",Device " << number << ",Vendor " << number
         << ",Mobile,Android\n";
    ByodDeviceInfo info = {};
    std::snprintf(info.name, sizeof info.name, "Device %zu", i);
    std::snprintf(info.vendor, sizeof info.vendor, "Vendor %zu", i);
    std::strcpy(info.category, "Mobile");
    std::strcpy(info.os, "Android");
    BYOD_data_AddFileAgentRule(expressions[i].c_str(), &info);
  }
}

std::string TextOf(uint32_t message, uint16_t type) {
  char text[256] = "";
  BYOD_tlv_GetStrValueByType(message, type, sizeof text, text);
  return text;
}

/// Keeps the questions that a rule answers, after a look at the daemon's answer to each.
void ChooseQuestions(const std::vector<std::string>& user_agents, const std::string& socket) {
  const int fd = Connect(socket);
  Bytes answer(65536);
  for (const std::string& user_agent : user_agents) {
    if (questions.size() == kQuestions) break;
    const ByodFingerPrint fingerprint = FingerPrintOf(user_agent);
    ByodDeviceAttribute expected = {};
    const bool known = BYOD_data_GetDeviceAttributeByFingerPrint(&fingerprint, &expected) == 0;
    const Bytes question = AttributesQuestion(fingerprint);
    const size_t length = Exchange(fd, question, false, answer.data());
    const tlv::Message reply(TLV_CreateReceiveMsg(
        tlv::kMemory, reinterpret_cast<uintptr_t>(answer.data()), static_cast<uint32_t>(length)));
    Require(static_cast<bool>(reply), "the daemon does not answer");
    Require((BYOD_tlv_GetErrorCode(reply.get()) == 0) == known &&
                TextOf(reply.get(), BYOD_TLV_VENDOR) == expected.vendor,
            "the daemon answers otherwise about " + user_agent);
    if (known) questions.push_back(question);
  }
  close(fd);
  Require(questions.size() == kQuestions, "too few strings are known");
}

/// What one client of a batch does. @return the time of each of its requests, in seconds
std::vector<double> Ask(const Subject& subject, Manner manner, int requests, size_t first) {
  static thread_local Bytes answer(65536);
  std::vector<double> times;
  times.reserve(static_cast<size_t>(requests));
  int fd = manner == Manner::kStay ? Connect(subject.socket) : -1;
  for (int i = 0; i < requests; ++i) {
    const Bytes& question = manner == Manner::kConnect
                                ? count_question
                                : questions[(first + static_cast<size_t>(i)) % questions.size()];
    const auto start = Clock::now();
    if (manner == Manner::kConnect) fd = Connect(subject.socket);
    const size_t length = Exchange(fd, question, subject.echoes, answer.data());
    if (manner == Manner::kConnect) close(fd);
    times.push_back(std::chrono::duration<double>(Clock::now() - start).count());
    Require(length != 0, subject.name + " has gone");
  }
  if (manner == Manner::kStay) close(fd);
  return times;
}

void Run(benchmark::State& state, const Subject& subject, Manner manner, Measure measure,
         int clients) {
  size_t first = 0;
  for (auto _ : state) {
    std::vector<std::vector<double>> times(static_cast<size_t>(clients));
    Clock::time_point start;
    std::barrier ready(clients, [&start]() noexcept { start = Clock::now(); });
    std::vector<std::thread> threads;
    for (int client = 0; client < clients; ++client) {
      threads.emplace_back([&, client] {
        ready.arrive_and_wait();
        times[static_cast<size_t>(client)] =
            Ask(subject, manner, kRequestsInABatch / clients,
                first + static_cast<size_t>(client) * questions.size() / kMostClients);
      });
    }
    for (std::thread& thread : threads)
      thread.join();
    const double all = std::chrono::duration<double>(Clock::now() - start).count();
    std::vector<double> each;
    for (const std::vector<double>& some : times)
      each.insert(each.end(), some.begin(), some.end());
    const auto middle = each.begin() + static_cast<ptrdiff_t>(each.size() / 2);
    std::nth_element(each.begin(), middle, each.end());
    state.SetIterationTime(measure == Measure::kMedian ? *middle
                                                       : all / static_cast<double>(each.size()));
    first += static_cast<size_t>(kRequestsInABatch);
  }
}

int Main(int argc, char** argv) {
  const ScratchDirectory directory;
  const std::vector<std::string> user_agents = UserAgents(30000, Seed());
  MakeRules(Expressions(user_agents, kRules, Seed()), directory.path());
  const EchoPeer echo(directory.path() + "/echo");
  const DaemonPeer daemon(directory.path() + "/daemon", directory.path() + "/state",
                          {"--rules", directory.path()});
  count_question = CountQuestion();
  ChooseQuestions(user_agents, daemon.socket());

  const Subject subjects[] = {{"daemon", daemon.socket(), false}, {"echo", echo.socket(), true}};
  const auto add = [&](const char* name, Manner manner, Measure measure, int clients) {
    for (const Subject& subject : subjects) {
      benchmark::RegisterBenchmark(
          (name + ("/" + subject.name) + "/" + std::to_string(clients)).c_str(),
          [&subject, manner, measure, clients](benchmark::State& state) {
            Run(state, subject, manner, measure, clients);
          })
          ->UseManualTime()
          ->Iterations(1)
          ->Repetitions(kBatches);
    }
  };
  for (const int clients : {1, kMostClients}) {
    add("connect", Manner::kConnect, Measure::kMedian, clients);
    add("stay", Manner::kStay, Measure::kMedian, clients);
  }
  add("connect_rate", Manner::kConnect, Measure::kRate, kMostClients);
  add("stay_rate", Manner::kStay, Measure::kRate, kMostClients);

  const auto pair = [](const std::string& name, const std::string& clients) {
    return std::vector<Ratio::Pair>{{name + "/daemon/" + clients, name + "/echo/" + clients}};
  };
  const double rate = 1 / 0.75;  // the time that three quarters of the echo's throughput leave
  return RunAndReport(
      argc, argv,
      {{"request, a connection each, 1 client: daemon / echo, p50", pair("connect", "1"), 1.25},
       {"request, a connection each, 8 clients: daemon / echo, p50", pair("connect", "8"), 1.25},
       {"fingerprint, 10000 rules, 1 client: daemon / echo, p50", pair("stay", "1"), 1.5},
       {"fingerprint, 10000 rules, 8 clients: daemon / echo, p50", pair("stay", "8"), 1.5},
       {"request, a connection each, 8 clients: time per request, daemon / echo",
        pair("connect_rate", "8"), rate},
       {"fingerprint, 8 clients: time per request, daemon / echo", pair("stay_rate", "8"), rate}});
}

}  // namespace
}  // namespace byod::bench

int main(int argc, char** argv) {
  return byod::bench::Main(argc, argv);
}
