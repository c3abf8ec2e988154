// SPDX-License-Identifier: Apache-2.0
// A running daemon with each of its allocations failing in turn, while it accepts a client, answers
// its requests and lets it go: the request is carried out whole or changes nothing, and the daemon
// lives.
#include <sys/mman.h>

#include <cstdio>

#include "support/sanitized.h"
#include "tests/lauthd/backups.h"
#include "tests/lauthd/client.h"

namespace byod::test {
namespace {

/// The numbers that the daemon's allocator shares with the test.
class Allocations {
 public:
  explicit Allocations(const std::string& file) {
    std::ofstream(file) << std::string(sizeof(Numbers), '\0');
    const int descriptor = open(file.c_str(), O_RDWR | O_CLOEXEC);
    void* const mapped =
        mmap(nullptr, sizeof(Numbers), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    close(descriptor);
    if (mapped != MAP_FAILED) numbers_ = static_cast<volatile Numbers*>(mapped);
  }
  ~Allocations() { munmap(const_cast<Numbers*>(numbers_), sizeof(Numbers)); }
  Allocations(const Allocations&) = delete;
  Allocations& operator=(const Allocations&) = delete;

  void FailAt(uint32_t number) {
    numbers_->count = 0;
    numbers_->fails_at = number;
  }
  /// @return whether it has failed
  bool Stop() {
    const bool failed = numbers_->count >= numbers_->fails_at;
    numbers_->fails_at = 0;
    return failed;
  }

 private:
  struct Numbers {
    uint32_t fails_at;
    uint32_t count;
  };
  volatile Numbers* numbers_ = nullptr;
};

/// What one client asks for in turn, and how that is undone.
struct Conversation {
  const char* name;
  std::vector<Message> requests;
  std::vector<Message> undo;
};

class OutOfMemory : public testing::Test {
 protected:
  void SetUp() override {
#if BYOD_SANITIZED || defined(BYOD_EMULATED)
    GTEST_SKIP() << "the daemon's allocator cannot be replaced here";
#endif
    daemon_.WriteRules("user-agent.csv",
                       "expression,name,vendor,category,os\nPhone,Phone,Acme,Phone,\n");
    daemon_.BeforeItRuns([this] {
      setenv("FAILING_ALLOCATION", numbers_.c_str(), 1);
      setenv("LD_PRELOAD", FAILING_ALLOCATION, 1);
    });
    ASSERT_NO_FATAL_FAILURE(daemon_.Start());
    for (const char* text : {"Acme", "Other"})
      ASSERT_EQ(Converse(SetRule(text, "mine")), Outcome::kDone);
  }

  enum class Outcome { kDone, kRefused, kEnded };

  static Message SetRule(const char* text, const char* os) {
    return MakeRequest(BYOD_OP_SET, BYOD_MSG_UA_DEVATTR, [&](Appender& append) {
      append.Number(BYOD_TLV_ATTRKIND, BYOD_ATTR_OS).Text(BYOD_TLV_USERAGENT, text);
      append.Text(BYOD_TLV_OS, os);
    });
  }
  static Message RemoveRule(const char* text) {
    return MakeRequest(BYOD_OP_UNDO, BYOD_MSG_UA_VALUE,
                       [&](Appender& append) { append.Text(BYOD_TLV_USERAGENT, text); });
  }
  static Message Authorize(uint32_t operation) {
    return MakeRequest(operation, BYOD_EXT_MSG_AUTHORIZATION, [&](Appender& append) {
      append.Text(BYOD_EXT_GROUP, "staff");
      if (operation != BYOD_OP_SET) return;
      append.Text(BYOD_EXT_ATTR_NAME, "vlan").Text(BYOD_EXT_ATTR_VALUE, "7");
    });
  }
  static Message Bulk(uint32_t phase, const std::vector<const Message*>& changes = {}) {
    return MakeRequest(BYOD_OP_SET, BYOD_EXT_MSG_BULK, [&](Appender& append) {
      append.Number(BYOD_EXT_PHASE, phase);
      for (const Message* const change : changes)
        append.Combine(BYOD_tlv_PutSubTlv(append.message(), BYOD_EXT_REQUEST, change->get()));
    });
  }
  static Message Identify(uint32_t kind) {
    return MakeRequest(BYOD_OP_GET, kind, [](Appender& append) {
      append.Text(BYOD_TLV_USERAGENT, "a Phone of Acme");
    });
  }

  static std::vector<Message> Several(Message first, Message second = {}, Message third = {}) {
    std::vector<Message> messages;
    for (Message* const message : {&first, &second, &third})
      if (*message) messages.push_back(std::move(*message));
    return messages;
  }

  static std::vector<Conversation> Conversations() {
    std::vector<Conversation> all;
    const auto get = [&](const char* name, uint32_t kind) {
      all.push_back({name, Several(MakeRequest(BYOD_OP_GET, kind)), {}});
    };
    get("status", BYOD_EXT_MSG_STATUS);
    get("categories", BYOD_EXT_MSG_CATEGORIES);
    get("unknown fingerprints", BYOD_EXT_MSG_UNKNOWN);
    get("idle rules", BYOD_EXT_MSG_IDLE_RULES);
    get("rules", BYOD_MSG_UA_LIST);
    get("authorization", BYOD_EXT_MSG_AUTHORIZATION);
    get("backup", BYOD_EXT_MSG_BACKUP);
    all.push_back({"identification", Several(Identify(BYOD_EXT_MSG_IDENTIFY)), {}});
    all.push_back({"explanation", Several(Identify(BYOD_EXT_MSG_EXPLAIN)), {}});
    all.push_back({"name", Several(Identify(BYOD_MSG_DEVTYPE_BY_FP)), {}});
    all.push_back({"watch and what ends it",
                   Several(MakeRequest(BYOD_OP_GET, BYOD_EXT_MSG_WATCH),
                           MakeRequest(BYOD_OP_GET, BYOD_MSG_UA_COUNT)),
                   {}});
    all.push_back({"new rule", Several(SetRule("Fresh", "new")), Several(RemoveRule("Fresh"))});
    all.push_back(
        {"changed rule", Several(SetRule("Acme", "other")), Several(SetRule("Acme", "mine"))});
    all.push_back(
        {"removed rule", Several(RemoveRule("Other")), Several(SetRule("Other", "mine"))});
    all.push_back({"set", Several(Authorize(BYOD_OP_SET)), Several(Authorize(BYOD_OP_UNDO))});
    const Message remove = RemoveRule("Other");
    const Message add = SetRule("Fresh", "new");
    all.push_back({"bulk",
                   Several(Bulk(BYOD_PHASE_BEGIN), Bulk(BYOD_PHASE_MORE, {&remove, &add}),
                           Bulk(BYOD_PHASE_COMMIT)),
                   Several(SetRule("Other", "mine"), RemoveRule("Fresh"))});
    all.push_back({"aborted bulk",
                   Several(Bulk(BYOD_PHASE_BEGIN), Bulk(BYOD_PHASE_MORE, {&remove, &add}),
                           Bulk(BYOD_PHASE_ABORT)),
                   {}});
    all.push_back({"bulk that its client leaves",
                   Several(Bulk(BYOD_PHASE_BEGIN), Bulk(BYOD_PHASE_MORE, {&remove, &add})),
                   {}});
    return all;
  }

  /// Asks one request after the other on a connection, until one is not carried out.
  Outcome Converse(const std::vector<Message>& requests) {
    Client client(daemon_);
    for (const Message& request : requests) {
      if (!client.Send(request)) return Outcome::kEnded;
      const bool watches = NumberOf(request, BYOD_TLV_MSGTYPE) == BYOD_EXT_MSG_WATCH;
      for (bool more = true; more;) {
        const Message reply = client.Receive();
        if (!reply) return Outcome::kEnded;
        const uint32_t code = BYOD_tlv_GetErrorCode(reply.get());
        for (uintptr_t at = TLV_GetFirst(reply.get()); at != 0; at = TLV_GetNext(reply.get(), at)) {
          if (TLV_GetTypeByIterator(reply.get(), at) == BYOD_EXT_RESULT &&
              TLV_GetUINTByIterator(reply.get(), at) != 0) {
            return Outcome::kRefused;
          }
        }
        if (code != 0 && code != BYOD_ERR_CONTINUE) return Outcome::kRefused;
        more = code == BYOD_ERR_CONTINUE && !watches;
      }
    }
    return Outcome::kDone;
  }
  Outcome Converse(Message request) { return Converse(Several(std::move(request))); }

  /// All rules and sets as the daemon lists them.
  std::string State() {
    std::string state;
    Client client(daemon_);
    for (const uint32_t kind : {uint32_t{BYOD_MSG_UA_LIST}, uint32_t{BYOD_EXT_MSG_AUTHORIZATION},
                                uint32_t{BYOD_EXT_MSG_IDLE_RULES}}) {
      const uint32_t code =
          client.AskSeries(MakeRequest(BYOD_OP_GET, kind), [&](const Message& reply) {
            const auto bytes = BytesOf(reply);
            state.append(bytes.begin(), bytes.end());
          });
      if (code != 0) return "the daemon does not answer";
    }
    return state;
  }

  /// @return how many allocations were made to fail
  uint32_t Sweep(const Conversation& conversation) {
    const std::string before = State();
    EXPECT_EQ(Converse(conversation.requests), Outcome::kDone);
    const std::string after = State();
    for (uint32_t n = 1;; ++n) {
      SCOPED_TRACE(conversation.name + std::string(", allocation ") + std::to_string(n));
      if (!conversation.undo.empty() && State() != before) Undo(conversation);
      EXPECT_TRUE(State() == before);
      allocations_.FailAt(n);
      const Outcome outcome = Converse(conversation.requests);
      // The end of the connection may be what fails.
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      const bool failed = allocations_.Stop();
      const std::string now = State();
      EXPECT_TRUE(now == (outcome == Outcome::kRefused ? before : after) ||
                  (outcome == Outcome::kEnded && now == before));
      if (!daemon_.Running()) ADD_FAILURE() << daemon_.Log();
      if (failed && !HasFailure()) continue;
      Undo(conversation);
      return n - 1;
    }
  }

  void Undo(const Conversation& conversation) {
    for (const Message& request : conversation.undo) {
      Client client(daemon_);
      client.Ask(request);
    }
  }

  TemporaryDirectory directory_;
  const std::string numbers_ = directory_.path() + "/numbers";
  Allocations allocations_{numbers_};
  DaemonProcess daemon_;
};

TEST_F(OutOfMemory, TheDaemonLivesWhicheverAllocationFails) {
  uint32_t failures = 0;
  for (const Conversation& conversation : Conversations()) {
    failures += Sweep(conversation);
    ASSERT_FALSE(HasFailure()) << conversation.name;
  }
  std::printf("%u allocations of the daemon failed\n", failures);
  EXPECT_GT(failures, 300u);
}

}  // namespace
}  // namespace byod::test
