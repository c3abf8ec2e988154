// SPDX-License-Identifier: Apache-2.0
// Clients that are many, slow, broken or hostile: only they themselves feel it.
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>

#include <bit>
#include <cstddef>
#include <fstream>
#include <random>
#include <string>

#include "tests/lauthd/client.h"
#include "tests/support/sanitized.h"

namespace byod::test {
namespace {

constexpr int kManyRules = 50000;

/// User-Agent rules in the order of their keywords.
std::string ManyRules(int count) {
  std::string text = "expression,name,vendor,category,os\n";
  char row[128];
  for (int i = 0; i < count; ++i) {
    std::snprintf(row, sizeof row, "Agent-%05d,Name %d,Vendor,category,os\n", i, i);
    text += row;
  }
  return text;
}

bool IsAnswered(Client& client) {
  const Message reply = client.Ask(BYOD_OP_GET, BYOD_MSG_UA_COUNT);
  return reply && BYOD_tlv_GetErrorCode(reply.get()) == 0;
}

/// Whether a process waits for something, as a daemon does that has done all it was asked to.
bool Rests(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string number, name, state;
  file >> number >> name >> state;
  return state == "S";
}

class Clients : public testing::Test {
 protected:
  DaemonProcess daemon_{{"--no-database"}};
};

TEST_F(Clients, TwoHundredAtOnceAreAllAnswered) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < 200; ++i)
    clients.push_back(std::make_unique<Client>(daemon_));
  for (int round = 0; round < 5; ++round) {
    for (auto& client : clients)
      ASSERT_TRUE(client->Send(MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_COUNT)));
    for (auto& client : clients)
      ASSERT_TRUE(client->Receive());
  }
  Client status(daemon_);
  EXPECT_EQ(NumberOf(status.Ask(BYOD_OP_GET, BYOD_EXT_MSG_STATUS), BYOD_EXT_CONNECTIONS), 201u);
}

/// As many explanations as the socket takes in one go.
std::vector<uint8_t> ManyExplanations() {
  const auto one = BytesOf(MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_EXPLAIN, [](Appender& append) {
    append.Text(BYOD_TLV_USERAGENT, "Mozilla/5.0 (Linux; Android 9; a device that no rule knows)");
  }));
  std::vector<uint8_t> block;
  while (block.size() + one.size() < 60000)
    block.insert(block.end(), one.begin(), one.end());
  return block;
}

class ManyWithMuchToDo : public Clients {
 protected:
  static constexpr int kMany = 60;

  /// Has these clients send much, then one more ask how many requests have been answered: the
  /// daemon finds all of it at once. @return that number
  uint64_t RequestsBeforeTheLastOne(const std::function<Client&(int)>& client) {
    const auto block = ManyExplanations();
    daemon_.Signal(SIGSTOP);
    for (int i = 0; i < kMany; ++i)
      EXPECT_TRUE(client(i).SendBytes(block.data(), block.size()));
    Client& last = client(kMany);
    EXPECT_TRUE(last.Send(MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_STATUS)));
    daemon_.Signal(SIGCONT);
    return CounterOf(last.Receive(), BYOD_EXT_REQUESTS);
  }
};

// Each was served 16 requests before the next one, so that a hundred kept others waiting for
// seconds.
TEST_F(ManyWithMuchToDo, WaitBehindOneWithAQuestion) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i <= kMany; ++i) {
    clients.push_back(std::make_unique<Client>(daemon_));
    ASSERT_TRUE(IsAnswered(*clients.back()));
  }
  const uint64_t before = 2 + kMany;  // by the start, by each client, and one for each turn at most
  EXPECT_LT(RequestsBeforeTheLastOne([&](int i) -> Client& { return *clients[i]; }),
            before + kMany * 8);
}

TEST_F(ManyWithMuchToDo, WaitBehindOneThatConnectsAfterThem) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  std::vector<std::unique_ptr<Client>> clients;
  EXPECT_LT(RequestsBeforeTheLastOne([&](int) -> Client& {
              return *clients.emplace_back(std::make_unique<Client>(daemon_));
            }),
            kMany * 8u);
}

TEST_F(ManyWithMuchToDo, AreAnsweredToTheEnd) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  const auto block = ManyExplanations();
  const size_t count =
      block.size() / BytesOf(MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_EXPLAIN, [](Appender& append) {
                       append.Text(BYOD_TLV_USERAGENT,
                                   "Mozilla/5.0 (Linux; Android 9; a device that no rule knows)");
                     })).size();
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < 10; ++i) {
    clients.push_back(std::make_unique<Client>(daemon_));
    ASSERT_TRUE(clients.back()->SendBytes(block.data(), block.size()));
  }
  for (auto& client : clients) {
    for (size_t i = 0; i < count; ++i)
      ASSERT_TRUE(client->Receive()) << i;
    EXPECT_TRUE(IsAnswered(*client));
  }
}

TEST_F(Clients, MoreThanTheLimitWaitWhileNobodyIsIdle) {
  daemon_.AddOption("--max-connections");
  daemon_.AddOption("3");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  const auto request = BytesOf(MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_COUNT));
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < 3; ++i) {
    clients.push_back(std::make_unique<Client>(daemon_));
    ASSERT_TRUE(IsAnswered(*clients.back()));
    ASSERT_TRUE(clients.back()->SendBytes(request.data(), 10));
  }
  Client waiting(daemon_);
  ASSERT_TRUE(waiting.Send(MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_COUNT)));
  char byte;
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_LT(recv(waiting.socket(), &byte, 1, MSG_DONTWAIT | MSG_PEEK), 0);
  clients.pop_back();
  EXPECT_TRUE(waiting.Receive());
  ASSERT_TRUE(clients[0]->SendBytes(request.data() + 10, request.size() - 10));
  EXPECT_TRUE(clients[0]->Receive());
}

TEST_F(Clients, AtTheLimitTheOneIdleLongestMakesRoom) {
  daemon_.AddOption("--max-connections");
  daemon_.AddOption("3");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < 3; ++i) {
    clients.push_back(std::make_unique<Client>(daemon_));
    ASSERT_TRUE(IsAnswered(*clients.back()));
  }
  ASSERT_TRUE(IsAnswered(*clients[0]));
  ASSERT_TRUE(IsAnswered(*clients[2]));
  Client newcomer(daemon_);
  EXPECT_TRUE(IsAnswered(newcomer));
  EXPECT_TRUE(clients[1]->Ended());
  EXPECT_TRUE(IsAnswered(*clients[2]));
  EXPECT_TRUE(IsAnswered(*clients[0]));
  EXPECT_TRUE(daemon_.Logged("too many connections")) << daemon_.Log();
}

TEST_F(Clients, AtTheLimitTheOneAnsweredLastStaysWhenAllAskAtOnce) {
  daemon_.AddOption("--max-connections");
  daemon_.AddOption("2");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  Client first(daemon_);
  ASSERT_TRUE(IsAnswered(first));
  while (!Rests(daemon_.pid()))
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  // Both requests are there before the daemon sees the second client.
  ASSERT_EQ(kill(daemon_.pid(), SIGSTOP), 0);
  Client second(daemon_);
  ASSERT_TRUE(second.Send(MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_COUNT)));
  ASSERT_TRUE(first.Send(MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_COUNT)));
  ASSERT_EQ(kill(daemon_.pid(), SIGCONT), 0);
  EXPECT_TRUE(second.Receive());
  EXPECT_TRUE(first.Receive());
  Client newcomer(daemon_);
  EXPECT_TRUE(IsAnswered(newcomer));
  EXPECT_TRUE(second.Ended());
  EXPECT_TRUE(IsAnswered(first));
}

TEST_F(Clients, OutOfDescriptorsTheOthersAreServedAndTheProcessorRests) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  const rlimit few = {24, 24};
  ASSERT_TRUE(daemon_.Running());
  ASSERT_EQ(prlimit(daemon_.pid(), RLIMIT_NOFILE, &few, nullptr), 0);
  Client first(daemon_);
  ASSERT_TRUE(IsAnswered(first));
  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < 40; ++i)
    clients.push_back(std::make_unique<Client>(daemon_));
  ASSERT_TRUE(Eventually([&] { return daemon_.Logged("clients wait"); })) << daemon_.Log();
  const auto ticks = [this] {
    std::ifstream stat("/proc/" + std::to_string(daemon_.pid()) + "/stat");
    std::string word;
    long used = 0;
    for (int i = 1; stat >> word && i <= 15; ++i) {
      if (i >= 14) used += std::stol(word);
    }
    return used;
  };
  const long before = ticks();
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_LT(ticks() - before, sysconf(_SC_CLK_TCK) / 5) << "it spins";
  EXPECT_TRUE(IsAnswered(first));
  clients.resize(2);
  Client late(daemon_);
  EXPECT_TRUE(IsAnswered(late));
}

/// Makes the system refuse to wait for descriptors from a number on, as when its users wait for too
/// many already.
void RefuseToWaitFrom(uint32_t descriptor) {
  const auto argument = [](size_t number) {
    constexpr size_t kLowHalf = std::endian::native == std::endian::big ? 4 : 0;
    return static_cast<uint32_t>(offsetof(seccomp_data, args) + number * 8 + kLowHalf);
  };
  sock_filter filter[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_epoll_ctl, 0, 5),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, argument(1)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, EPOLL_CTL_ADD, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, argument(2)),
      BPF_JUMP(BPF_JMP | BPF_JGE | BPF_K, descriptor, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSPC),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  };
  const sock_fprog program = {std::size(filter), filter};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
    _exit(126);
  }
}

// The daemon took nobody in any more, and said nothing.
TEST_F(Clients, OneThatCannotBeWaitedForIsDroppedAndLaterOnesAreServed) {
  daemon_.BeforeItRuns([] { RefuseToWaitFrom(40); });
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  std::vector<std::unique_ptr<Client>> clients;
  bool dropped = false;
  while (!dropped && clients.size() < 60) {
    clients.push_back(std::make_unique<Client>(daemon_));
    // What it asks at once may be answered all the same.
    for (int i = 0; i < 5 && !dropped; ++i)
      dropped = !IsAnswered(*clients.back());
  }
  ASSERT_TRUE(dropped);
  EXPECT_TRUE(Eventually([&] { return daemon_.Logged("No space left"); })) << daemon_.Log();
  EXPECT_TRUE(IsAnswered(*clients.front()));
  clients.resize(2);
  EXPECT_TRUE(Eventually([&] {
    Client late(daemon_);
    return IsAnswered(late);
  }));
}

TEST_F(Clients, OneByteAtATimeIsDroppedInTimeAndTheOthersAreAnswered) {
  daemon_.AddOption("--idle-timeout");
  daemon_.AddOption("1");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  Client slow(daemon_);
  const auto request = BytesOf(MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_COUNT));
  const auto start = std::chrono::steady_clock::now();
  bool dropped = false;
  for (size_t i = 0; i + 1 < request.size() && !dropped; ++i) {
    dropped = !slow.SendBytes(&request[i], 1);
    Client other(daemon_);
    ASSERT_TRUE(IsAnswered(other));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  EXPECT_TRUE(dropped);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

// A connection of the library's BYOD_Init, which may be used as often as one likes, was closed
// after the idle timeout, and whatever was asked on it from then on seemed to be unknown.
TEST_F(Clients, OneThatOwesNothingMayStaySilentForLong) {
  daemon_.WriteRules("user-agent.csv", ManyRules(1));
  daemon_.AddOption("--idle-timeout");
  daemon_.AddOption("1");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  const int connection = BYOD_Init();
  ASSERT_GE(connection, 0);
  const ByodFingerPrint fp = UserAgent("Agent-00000");
  char name[BYOD_DEVNAME_SIZE];
  for (int i = 0; i < 2; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    EXPECT_EQ(BYOD_GetDeviceNameByFingerPrint(connection, &fp, sizeof name, name), 0u) << i;
  }
  BYOD_Fini(connection);
}

TEST_F(Clients, WhoLeavesABulkOrARestoreHalfDoneIsDroppedInTime) {
  DaemonProcess daemon({"--idle-timeout", "1"});
  ASSERT_NO_FATAL_FAILURE(daemon.Start());
  Client bulk(daemon);
  Client restore(daemon);
  const auto begin = [](Appender& append) { append.Number(BYOD_EXT_PHASE, BYOD_PHASE_BEGIN); };
  ASSERT_EQ(VerdictOf(restore.Ask(BYOD_OP_SET, BYOD_EXT_MSG_RESTORE,
                                  [&](Appender& append) {
                                    begin(append);
                                    append.Combine(protocol::AppendCounter(append.message(),
                                                                           BYOD_EXT_TOTAL, 1000));
                                  })),
            (Verdict{0, 0}));
  ASSERT_EQ(VerdictOf(bulk.Ask(BYOD_OP_SET, BYOD_EXT_MSG_BULK, begin)), (Verdict{0, 0}));
  EXPECT_EQ(BYOD_cfgmsg_SetUAValue(1, "waits for the end of the bulk"), 0u);
  EXPECT_TRUE(bulk.Ended());
  EXPECT_TRUE(restore.Ended());
}

TEST_F(Clients, WhoGoesWhileABulkIsOpenTakesItsWaitingChangeWithIt) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  Client bulk(daemon_);
  const auto phase = [](uint32_t number) {
    return MakeRequest(BYOD_OP_SET, BYOD_EXT_MSG_BULK,
                       [&](Appender& append) { append.Number(BYOD_EXT_PHASE, number); });
  };
  const auto change = [](const char* keyword) {
    return MakeRequest(BYOD_OP_SET, BYOD_MSG_UA_VALUE,
                       [&](Appender& append) { append.Text(BYOD_TLV_USERAGENT, keyword); });
  };
  ASSERT_EQ(VerdictOf(bulk.Ask(phase(BYOD_PHASE_BEGIN))), (Verdict{0, 0}));
  Client patient(daemon_);
  ASSERT_TRUE(patient.Send(change("of one that waits")));
  {
    Client impatient(daemon_);
    ASSERT_TRUE(impatient.Send(change("of one that has gone")));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
  ASSERT_EQ(VerdictOf(bulk.Ask(phase(BYOD_PHASE_COMMIT))), (Verdict{0, 0}));
  EXPECT_EQ(VerdictOf(patient.Receive()), (Verdict{0, 0}));
  EXPECT_EQ(NumberOf(bulk.Ask(BYOD_OP_GET, BYOD_MSG_UA_COUNT), BYOD_TLV_COUNT), 1u);
}

Message Phase(uint32_t phase) {
  return MakeRequest(BYOD_OP_SET, BYOD_EXT_MSG_BULK,
                     [&](Appender& append) { append.Number(BYOD_EXT_PHASE, phase); });
}

Message SetValue(const char* keyword) {
  return MakeRequest(BYOD_OP_SET, BYOD_MSG_UA_VALUE,
                     [&](Appender& append) { append.Text(BYOD_TLV_USERAGENT, keyword); });
}

// A client that sent an empty part of a bulk now and then kept all other changes waiting for ever.
TEST_F(Clients, ABulkThatIsKeptOpenIsRolledBackInTime) {
  daemon_.SetOption("--bulk-timeout", "1");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  Client bulk(daemon_);
  ASSERT_EQ(VerdictOf(bulk.Ask(Phase(BYOD_PHASE_BEGIN))), (Verdict{0, 0}));
  ASSERT_EQ(VerdictOf(bulk.Ask(SetValue("in the bulk"))), (Verdict{0, 0}));
  Client other(daemon_);
  ASSERT_TRUE(other.Send(SetValue("of another client")));
  Message refused;
  for (int i = 0; i < 50 && !refused; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    Message reply = bulk.Ask(Phase(BYOD_PHASE_MORE));
    ASSERT_TRUE(reply) << "the connection lives";
    if (BYOD_tlv_GetErrorCode(reply.get()) != 0) refused = std::move(reply);
  }
  ASSERT_TRUE(refused);
  EXPECT_EQ(TextOf(refused, BYOD_EXT_REASON), "the bulk took longer than 1 s and was rolled back");
  EXPECT_EQ(VerdictOf(other.Receive()), (Verdict{0, 0}));
  EXPECT_EQ(NumberOf(bulk.Ask(BYOD_OP_GET, BYOD_MSG_UA_COUNT), BYOD_TLV_COUNT), 1u);
}

TEST_F(Clients, ASilentOneThatLeavesABulkOpenLearnsWhatBecameOfIt) {
  daemon_.SetOption("--bulk-timeout", "1");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  Client bulk(daemon_);
  ASSERT_EQ(VerdictOf(bulk.Ask(Phase(BYOD_PHASE_BEGIN))), (Verdict{0, 0}));
  Client other(daemon_);
  EXPECT_EQ(VerdictOf(other.Ask(SetValue("of another client"))), (Verdict{0, 0}));
  EXPECT_EQ(TextOf(bulk.Ask(Phase(BYOD_PHASE_COMMIT)), BYOD_EXT_REASON),
            "the bulk took longer than 1 s and was rolled back");
}

TEST_F(Clients, WhoWaitsTooLongForABulkIsRefused) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  Client bulk(daemon_);
  ASSERT_EQ(VerdictOf(bulk.Ask(Phase(BYOD_PHASE_BEGIN))), (Verdict{0, 0}));
  Client other(daemon_);
  const Message reply = other.Ask(SetValue("of another client"));
  EXPECT_EQ(VerdictOf(reply), (Verdict{BYOD_ERR_FAILED, BYOD_REFUSAL_BUSY}));
  EXPECT_TRUE(TextOf(reply, BYOD_EXT_REASON).starts_with("busy: a change by uid "))
      << TextOf(reply, BYOD_EXT_REASON);
  EXPECT_EQ(VerdictOf(bulk.Ask(Phase(BYOD_PHASE_COMMIT))), (Verdict{0, 0}));
}

// byodctl reported that there was no answer, and the change was made afterwards.
TEST_F(Clients, WhoHasGoneBeforeItsChangeBeginsTakesItAlong) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  Client stays(daemon_);
  ASSERT_TRUE(IsAnswered(stays));
  daemon_.Signal(SIGSTOP);
  {
    Client connected(daemon_);
    ASSERT_TRUE(connected.Send(SetValue("of one that has gone")));
  }
  ASSERT_TRUE(stays.Send(SetValue("of one that stays")));
  daemon_.Signal(SIGCONT);
  EXPECT_EQ(VerdictOf(stays.Receive()), (Verdict{0, 0}));
  EXPECT_TRUE(Eventually([&] {
    return NumberOf(stays.Ask(BYOD_OP_GET, BYOD_EXT_MSG_STATUS), BYOD_EXT_CONNECTIONS) == 1;
  }));
  EXPECT_EQ(NumberOf(stays.Ask(BYOD_OP_GET, BYOD_MSG_UA_COUNT), BYOD_TLV_COUNT), 1u);
}

TEST_F(Clients, WhoDoesNotReadRepliesIsDroppedInTime) {
  daemon_.AddOption("--idle-timeout");
  daemon_.AddOption("1");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  Client deaf(daemon_);
  const auto request = BytesOf(MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_STATUS));
  // More than both directions of the socket hold, so that a reply is left over.
  while (send(deaf.socket(), request.data(), request.size(), MSG_NOSIGNAL | MSG_DONTWAIT) > 0) {
  }
  Client other(daemon_);
  EXPECT_TRUE(Eventually([&] {
    return NumberOf(other.Ask(BYOD_OP_GET, BYOD_EXT_MSG_STATUS), BYOD_EXT_CONNECTIONS) == 1;
  }));
}

size_t rules_taken;

TEST_F(Clients, AListingWhoseReaderPausesIsServedToItsEnd) {
  daemon_.WriteRules("user-agent.csv", ManyRules(kManyRules));
  daemon_.AddOption("--idle-timeout");
  daemon_.AddOption("1");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  rules_taken = 0;
  EXPECT_EQ(BYOD_cfgmsg_GetAndShowUserAgentRules([](const void*) {
              if (++rules_taken == 2 || rules_taken == kManyRules / 2) {
                std::this_thread::sleep_for(std::chrono::milliseconds(3500));
              }
              return 0u;
            }),
            0u);
  EXPECT_EQ(rules_taken, size_t{kManyRules});
}

TEST_F(Clients, AMessageInPiecesIsAMessage) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  Client client(daemon_);
  const auto request = BytesOf(MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_COUNT));
  for (const uint8_t byte : request) {
    ASSERT_TRUE(client.SendBytes(&byte, 1));
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_TRUE(client.Receive());
}

/// A plain question that is so many bytes long.
std::vector<uint8_t> QuestionOf(size_t length) {
  const std::vector<uint8_t> padding(length - BytesOf(MakeRequest(0, 0)).size() - 4);
  return BytesOf(MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_COUNT, [&](Appender& append) {
    append.Bytes(BYOD_TLV_OPTION55, static_cast<uint32_t>(padding.size()), padding.data());
  }));
}

TEST_F(Clients, QuestionsOfAnyLengthAreAnsweredAloneAndInARow) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  Client client(daemon_);
  for (const size_t length : {28, 256, 510, 511, 512, 513, 514, 1023, 1024, 1025, 4000, 65000}) {
    const std::vector<uint8_t> question = QuestionOf(length);
    ASSERT_EQ(question.size(), length);
    // The most that are answered in a row, and some; of long ones no more than fit the socket.
    for (const size_t count : {size_t{1}, size_t{2}, std::min<size_t>(40, 100000 / length)}) {
      std::vector<uint8_t> bytes;
      for (size_t i = 0; i < count; ++i)
        bytes.insert(bytes.end(), question.begin(), question.end());
      ASSERT_TRUE(client.SendBytes(bytes.data(), bytes.size()));
      for (size_t i = 0; i < count; ++i) {
        const Message reply = client.Receive();
        ASSERT_TRUE(reply) << length << ", " << i << " of " << count;
        EXPECT_EQ(BYOD_tlv_GetErrorCode(reply.get()), 0u);
      }
    }
    EXPECT_TRUE(IsAnswered(client)) << length;
  }
}

int UnreadBytes(const std::vector<std::unique_ptr<Client>>& clients) {
  int sum = 0;
  for (const auto& client : clients) {
    int unread = 0;
    EXPECT_EQ(ioctl(client->socket(), FIONREAD, &unread), 0);
    sum += unread;
  }
  return sum;
}

TEST_F(Clients, WhoNeverReadsAListingHoldsNoMemoryAndMakesRoomForOthers) {
  daemon_.WriteRules("user-agent.csv", ManyRules(kManyRules));
  daemon_.AddOption("--max-connections");
  daemon_.AddOption("60");
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  Client watcher(daemon_);
  ASSERT_TRUE(IsAnswered(watcher));
  const size_t before = daemon_.Memory();
  std::vector<std::unique_ptr<Client>> deaf;
  for (int i = 0; i < 50; ++i) {
    deaf.push_back(std::make_unique<Client>(daemon_));
    ASSERT_TRUE(deaf.back()->Send(MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_LIST)));
  }
  for (int i = 0; i < 20; ++i) {
    Client other(daemon_);
    ASSERT_TRUE(IsAnswered(other));
  }
  // A sanitizer keeps freed memory for a while, or notes about each piece.
  if (!BYOD_SANITIZED) {
    EXPECT_LT(daemon_.Memory(), before + size_t{50} * 64 + 2048) << "KiB";
  }
  // One for which there is no room takes the place of one that has stopped before the watcher
  // asked.
  int arrived = -1;
  ASSERT_TRUE(Eventually([&] {
    const int before_pause = std::exchange(arrived, UnreadBytes(deaf));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return arrived == before_pause;
  }));
  ASSERT_TRUE(IsAnswered(watcher));
  std::vector<std::unique_ptr<Client>> others;
  for (int i = 0; i < 20; ++i) {
    others.push_back(std::make_unique<Client>(daemon_));
    ASSERT_TRUE(IsAnswered(*others.back()));
  }
  EXPECT_TRUE(IsAnswered(watcher)) << daemon_.Log();
  const auto drain = [](Client& client) {
    char bytes[65536];
    ssize_t got = 0;
    while ((got = recv(client.socket(), bytes, sizeof bytes, MSG_DONTWAIT)) > 0) {
    }
    return got == 0;
  };
  EXPECT_TRUE(drain(*deaf[0])) << "it is closed";
  EXPECT_FALSE(drain(*deaf[49])) << "it is not";
}

TEST_F(Clients, RandomBytesEndTheirOwnConnectionOnly) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  Client bystander(daemon_);
  std::mt19937 random(20);
  size_t sent = 0;
  while (sent < 1000000) {
    Client client(daemon_);
    std::vector<uint8_t> bytes(1 + random() % 20000);
    // Some begin like a message.
    const auto request = BytesOf(MakeRequest(BYOD_OP_GET, random() % 20));
    for (uint8_t& byte : bytes)
      byte = static_cast<uint8_t>(random());
    if (random() % 2 == 0) {
      const size_t kept = std::min<size_t>(random() % request.size(), bytes.size());
      std::copy(request.begin(), request.begin() + static_cast<ptrdiff_t>(kept), bytes.begin());
    }
    client.SendBytes(bytes.data(), bytes.size());
    sent += bytes.size();
    ASSERT_TRUE(IsAnswered(bystander));
  }
  EXPECT_TRUE(daemon_.Running());
}

TEST_F(Clients, AMessageOfMoreThanTheMostEndsTheConnection) {
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  const Message large(TLV_Create());
  const std::vector<uint8_t> filler(33000);
  TLV_Append_Data(large.get(), 999, 33000, filler.data());
  TLV_Append_Data(large.get(), 999, 33000, filler.data());
  const auto bytes = BytesOf(large);
  ASSERT_GT(bytes.size(), 65534u);
  Client client(daemon_);
  client.SendBytes(bytes.data(), bytes.size());
  EXPECT_TRUE(client.Ended());
  Client other(daemon_);
  EXPECT_TRUE(IsAnswered(other));
}

TEST_F(Clients, LeavingInEveryStateLeavesNothingBehind) {
  daemon_.WriteRules("user-agent.csv", ManyRules(5000));
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  const auto request = BytesOf(MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_COUNT));
  for (int round = 0; round < 20; ++round) {
    {
      Client nothing(daemon_);
    }
    {
      Client half(daemon_);
      half.SendBytes(request.data(), request.size() / 2);
    }
    {
      Client unread(daemon_);
      unread.SendBytes(request.data(), request.size());
    }
    {
      Client listing(daemon_);
      listing.Send(MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_LIST));
      listing.Receive();
    }
    {
      Client watch(daemon_);
      watch.Ask(BYOD_OP_GET, BYOD_EXT_MSG_WATCH);
    }
    {
      Client bulk(daemon_);
      bulk.Ask(BYOD_OP_SET, BYOD_EXT_MSG_BULK,
               [](Appender& append) { append.Number(BYOD_EXT_PHASE, BYOD_PHASE_BEGIN); });
      bulk.Ask(BYOD_OP_SET, BYOD_MSG_UA_VALUE,
               [](Appender& append) { append.Text(BYOD_TLV_USERAGENT, "taken back"); });
    }
    {
      Client shut(daemon_);
      shut.SendBytes(request.data(), request.size());
      shutdown(shut.socket(), SHUT_WR);
      EXPECT_TRUE(shut.Receive());
    }
  }
  Client client(daemon_);
  ASSERT_TRUE(Eventually([&] {
    return NumberOf(client.Ask(BYOD_OP_GET, BYOD_EXT_MSG_STATUS), BYOD_EXT_CONNECTIONS) == 1;
  }));
  EXPECT_EQ(NumberOf(client.Ask(BYOD_OP_GET, BYOD_MSG_UA_COUNT), BYOD_TLV_COUNT), 5000u);
  EXPECT_EQ(daemon_.Kill(SIGTERM), 0) << daemon_.Log();
}

TEST_F(Clients, AListingTellsEveryRuleOnceWhileOthersChangeAndReload) {
  daemon_.WriteRules("user-agent.csv", ManyRules(kManyRules));
  ASSERT_NO_FATAL_FAILURE(daemon_.Start());
  Client lister(daemon_);
  Client changer(daemon_);
  std::mt19937 random(4);
  std::vector<int> seen(kManyRules);
  std::vector<std::string> added;
  size_t replies = 0;
  const auto change = [&](uint32_t operation, const std::string& keyword) {
    const Message reply = changer.Ask(operation, BYOD_MSG_UA_VALUE, [&](Appender& append) {
      append.Text(BYOD_TLV_USERAGENT, keyword.c_str());
    });
    EXPECT_EQ(BYOD_tlv_GetErrorCode(reply.get()), 0u);
  };
  const uint32_t code =
      lister.AskSeries(MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_LIST), [&](const Message& reply) {
        EXPECT_LE(TLV_GetMsgLen(reply.get(), tlv::kSocket), 65534u);
        for (const Message& rule : NestedIn(reply, BYOD_EXT_RULE)) {
          int number = -1;
          const std::string keyword = TextOf(rule, BYOD_TLV_USERAGENT);
          if (keyword.size() == 11) std::sscanf(keyword.c_str(), "Agent-%d", &number);
          if (number >= 0 && number < kManyRules) ++seen[static_cast<size_t>(number)];
        }
        // Rules come and go everywhere, also just where the listing stands.
        for (int i = 0; i < 3; ++i) {
          char keyword[64];
          const int number = static_cast<int>(random() % kManyRules);
          const unsigned suffix = static_cast<unsigned>(random());
          std::snprintf(keyword, sizeof keyword, "Agent-%05d+%u", number, suffix);
          change(BYOD_OP_SET, keyword);
          added.push_back(keyword);
        }
        while (added.size() > 40) {
          const size_t one = random() % added.size();
          change(BYOD_OP_UNDO, added[one]);
          added.erase(added.begin() + static_cast<ptrdiff_t>(one));
        }
        if (++replies == 5 || replies == 50) {
          const Message reloaded = changer.Ask(BYOD_OP_SET, BYOD_EXT_MSG_RELOAD);
          // The files are as they were.
          EXPECT_EQ(BYOD_tlv_GetErrorCode(reloaded.get()), BYOD_ERR_NOCHANGE);
        }
      });
  EXPECT_EQ(code, 0u);
  EXPECT_GT(replies, 100u);
  EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), kManyRules);
}

}  // namespace
}  // namespace byod::test
