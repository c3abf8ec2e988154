// SPDX-License-Identifier: Apache-2.0
// Every request of the daemon with each of its allocations, and each of its operations on files,
// failing in turn: it is refused, or its connection ends, and then nothing has changed; or it is
// carried out whole. What is in memory is always what is stored, and what a restart finds.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "byod_db.h"
#include "byod_order.h"
#include "lauth_dbm.h"
#include "lauth_dbm_admin.h"
#include "lauthd/requests/dispatch.h"
#include "lauthd/state/rule_state.h"
#include "support/failing_allocator.h"
#include "tests/lauthd/requests/handler_test.h"
#include "tests/support/sanitized.h"

namespace {

// All allocations in turn take minutes under a sanitizer.
constexpr uint32_t kAllocationStep = BYOD_SANITIZED ? 7 : 1;

// Operations on files until the one that fails; negative: none does.
int left = -1;
bool file_failed = false;

bool FileFails() {
  if (left < 0 || left-- != 0) return false;
  file_failed = true;
  errno = EIO;
  return true;
}

/// Calls the system's function of this name, or fails.
template <typename Result, typename... Arguments>
Result CallOrFail(const char* name, Arguments... arguments) {
  if (FileFails()) return -1;
  return reinterpret_cast<Result (*)(Arguments...)>(dlsym(RTLD_NEXT, name))(arguments...);
}

int OpenOrFail(const char* name, const char* path, int flags, mode_t mode) {
  return CallOrFail<int>(name, path, flags, mode);
}

}  // namespace

// These take the place of the system's for the libraries, too. Nothing is flushed in thousands of
// rounds that are not about that.
extern "C" {
int fsync(int) {
  return FileFails() ? -1 : 0;
}
int fdatasync(int) {
  return FileFails() ? -1 : 0;
}
int open(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const auto mode = va_arg(arguments, mode_t);  // garbage where none is given, which is not used
  va_end(arguments);
  return OpenOrFail("open", path, flags, mode);
}
int open64(const char* path, int flags, ...) {
  std::va_list arguments;
  va_start(arguments, flags);
  const auto mode = va_arg(arguments, mode_t);
  va_end(arguments);
  return OpenOrFail("open64", path, flags, mode);
}
ssize_t read(int file, void* bytes, size_t count) {
  return CallOrFail<ssize_t>("read", file, bytes, count);
}
ssize_t pread64(int file, void* bytes, size_t count, off64_t at) {
  return CallOrFail<ssize_t>("pread64", file, bytes, count, at);
}
ssize_t write(int file, const void* bytes, size_t count) {
  return CallOrFail<ssize_t>("write", file, bytes, count);
}
ssize_t pwrite64(int file, const void* bytes, size_t count, off64_t at) {
  return CallOrFail<ssize_t>("pwrite64", file, bytes, count, at);
}
int ftruncate64(int file, off64_t size) noexcept {
  return CallOrFail<int>("ftruncate64", file, size);
}
int rename(const char* from, const char* to) noexcept {
  return CallOrFail<int>("rename", from, to);
}
int link(const char* from, const char* to) noexcept {
  return CallOrFail<int>("link", from, to);
}
int unlink(const char* path) noexcept {
  return CallOrFail<int>("unlink", path);
}
int mkdir(const char* path, mode_t mode) noexcept {
  return CallOrFail<int>("mkdir", path, mode);
}
}

namespace byod::lauthd {
namespace {

using support::Message;
using support::Nested;

Elements Request(uint32_t operation, uint32_t kind, const Elements& elements = {}) {
  return Elements{Number(BYOD_TLV_OPTYPE, operation), Number(BYOD_TLV_MSGTYPE, kind)} + elements;
}

Element Change(uint32_t operation, uint32_t kind, const Elements& elements) {
  return Nested(BYOD_EXT_REQUEST, Request(operation, kind, elements));
}

Element Keyword(const char* text) {
  return Text(BYOD_TLV_USERAGENT, text);
}

Element OptionList(const char* text) {
  return Text(BYOD_TLV_DHCPOPT, text);
}

Elements Block(const char (&mac)[7], const char (&mask)[7]) {
  return {Bytes(BYOD_TLV_MAC, std::string(mac, 6)), Bytes(BYOD_TLV_MACMASK, std::string(mask, 6))};
}

Elements Wide() {
  return Block("\x02\x11\x00\x00\x00\x00", "\xff\xff\x00\x00\x00\x00");
}
Elements Narrow() {
  return Block("\x02\x11\x22\x00\x00\x00", "\xff\xff\xff\x00\x00\x00");
}
Elements Narrower() {
  return Block("\x02\x11\x22\x33\x00\x00", "\xff\xff\xff\xff\x00\x00");
}

Elements Os(const Elements& key, const char* os) {
  return key + Elements{Number(BYOD_TLV_ATTRKIND, BYOD_ATTR_OS), Text(BYOD_TLV_OS, os)};
}

Elements SetOf(const char* group, const char* category, const char* value) {
  return {Text(BYOD_EXT_GROUP, group), Text(BYOD_TLV_DEVTYPE, category),
          Text(BYOD_EXT_ATTR_NAME, "vlan"), Text(BYOD_EXT_ATTR_VALUE, value)};
}

Elements OrderOf(uint32_t first, uint32_t second, uint32_t third) {
  return {Number(BYOD_TLV_ORDER, first), Number(BYOD_TLV_ORDER, second),
          Number(BYOD_TLV_ORDER, third)};
}

Elements Fingerprint() {
  return {Bytes(BYOD_TLV_OPTION55, "\x01\x03\x06"), Keyword("a Phone of Acme"),
          Bytes(BYOD_TLV_MAC, std::string("\x02\x11\x22\x33\x44\x55", 6))};
}

/// Requests of one connection, in their order.
struct Conversation {
  const char* name;
  std::vector<Elements> requests;
};

enum class Outcome { kDone, kRefused, kEnded };

std::string TextOfInfo(const ByodDeviceInfo* info) {
  if (info == nullptr) return "-";
  return std::string(info->name) + "/" + info->vendor + "/" + info->category + "/" + info->os;
}

/// What fails in a conversation.
enum class Failing { kAllocation, kFile };

class FailingCalls : public testing::Test {
 protected:
  FailingCalls() {
    SetLogLevel(Severity{0});  // what is refused thousands of times is not logged
    rules_.Write("user-agent.csv",
                 "expression,name,vendor,category,os\nPhone,Phone,Acme,,\nTable,,Acme,Tablet,\n");
    rules_.Write("mac.csv", "mac,mask,name,vendor,category,os\n00:11:22/24,,Cimsys,,\n");
    rules_.Write("dhcp-option.csv", "options,name,vendor,category,os\n\"1,3,6\",,,PC,\n");
    Begin();
    for (const Elements& request : FirstRequests())
      EXPECT_EQ(Hold({"setup", {request}}, 0), Outcome::kDone);
    former_ = Backup();
    for (const Elements& request : LaterRequests())
      EXPECT_EQ(Hold({"setup", {request}}, 0), Outcome::kDone);
    end_of_setup_ = Stored();
    Keep();
  }

  static std::vector<Elements> FirstRequests() {
    return {
        Request(BYOD_OP_SET, BYOD_MSG_UA_DEVATTR, Os({Keyword("Acme Phone")}, "mine")),
        Request(BYOD_OP_SET, BYOD_MSG_UA_DEVATTR, Os({Keyword("Other")}, "theirs")),
        Request(BYOD_OP_SET, BYOD_MSG_UA_DEVATTR, Os({Keyword("Qhone")}, "of one length")),
        Request(BYOD_OP_SET, BYOD_MSG_UA_DEVATTR, Os({Keyword("Phone")}, "modified")),
        Request(BYOD_OP_SET, BYOD_MSG_DHCPOPT_DEVATTR, Os({OptionList("1,15")}, "option")),
        Request(BYOD_OP_SET, BYOD_MSG_MAC_DEVATTR, Os(Wide(), "wide")),
        Request(BYOD_OP_SET, BYOD_MSG_MAC_DEVATTR, Os(Narrow(), "narrow")),
        Request(BYOD_OP_SET, BYOD_EXT_MSG_AUTHORIZATION, SetOf("staff", "Phone", "1")),
    };
  }
  static std::vector<Elements> LaterRequests() {
    return {
        Request(BYOD_OP_SET, BYOD_EXT_MSG_AUTHORIZATION, SetOf("staff", "PC", "2")),
        Request(BYOD_OP_UNDO, BYOD_MSG_UA_VALUE, {Keyword("Other")}),
        Request(BYOD_OP_SET, BYOD_MSG_ORDER, OrderOf(2, 1, 0)),
    };
  }

  std::vector<Conversation> Conversations() const {
    std::vector<Conversation> all;
    const auto add = [&](const char* name, std::vector<Elements> requests) {
      all.push_back({name, std::move(requests)});
    };
    const auto one = [&](const char* name, uint32_t operation, uint32_t kind,
                         const Elements& elements = {}) {
      add(name, {Request(operation, kind, elements)});
    };
    one("device name", BYOD_OP_GET, BYOD_MSG_DEVTYPE_BY_FP, Fingerprint());
    one("vendor", BYOD_OP_GET, BYOD_MSG_VENDOR_BY_FP, Fingerprint());
    one("attributes", BYOD_OP_GET, BYOD_MSG_DEVATTR_BY_FP, Fingerprint());
    one("identification", BYOD_OP_GET, BYOD_EXT_MSG_IDENTIFY,
        Fingerprint() + Elements{Text(BYOD_EXT_GROUP, "staff")});
    one("identification of nothing known", BYOD_OP_GET, BYOD_EXT_MSG_IDENTIFY,
        {Keyword("nobody knows it")});
    one("explanation", BYOD_OP_GET, BYOD_EXT_MSG_EXPLAIN, Fingerprint());
    one("status", BYOD_OP_GET, BYOD_EXT_MSG_STATUS);
    one("unknown fingerprints", BYOD_OP_GET, BYOD_EXT_MSG_UNKNOWN);
    one("watch", BYOD_OP_GET, BYOD_EXT_MSG_WATCH);
    one("idle rules", BYOD_OP_GET, BYOD_EXT_MSG_IDLE_RULES);
    one("categories", BYOD_OP_GET, BYOD_EXT_MSG_CATEGORIES);
    one("backup", BYOD_OP_GET, BYOD_EXT_MSG_BACKUP);
    one("reload", BYOD_OP_SET, BYOD_EXT_MSG_RELOAD);
    one("order", BYOD_OP_GET, BYOD_MSG_ORDER);
    one("order set", BYOD_OP_SET, BYOD_MSG_ORDER, OrderOf(1, 2, 0));
    one("order undone", BYOD_OP_UNDO, BYOD_MSG_ORDER);
    one("authorization", BYOD_OP_GET, BYOD_EXT_MSG_AUTHORIZATION);
    one("set of a new group", BYOD_OP_SET, BYOD_EXT_MSG_AUTHORIZATION, SetOf("guests", "PC", "3"));
    one("set replaced", BYOD_OP_SET, BYOD_EXT_MSG_AUTHORIZATION, SetOf("staff", "PC", "4"));
    one("name removed from a set", BYOD_OP_UNDO, BYOD_EXT_MSG_AUTHORIZATION,
        {Text(BYOD_EXT_GROUP, "staff"), Text(BYOD_TLV_DEVTYPE, "PC"),
         Text(BYOD_EXT_ATTR_NAME, "vlan")});
    one("sets of a group removed", BYOD_OP_UNDO, BYOD_EXT_MSG_AUTHORIZATION,
        {Text(BYOD_EXT_GROUP, "staff")});
    AddRuleRequests<UserAgentKind>(all, {Keyword("Acme Phone")}, {Keyword("Phony")});
    AddRuleRequests<DhcpOptionKind>(all, {OptionList("1,15")}, {OptionList("1,2,3")});
    AddRuleRequests<MacKind>(all, Narrow(), Narrower());
    one("modification undone", BYOD_OP_UNDO, BYOD_MSG_UA_VALUE, {Keyword("Phone")});
    one("rule around others removed", BYOD_OP_UNDO, BYOD_MSG_MAC_VALUE, Wide());
    const auto bulk = [](uint32_t phase, const Elements& changes = {}) {
      return Request(BYOD_OP_SET, BYOD_EXT_MSG_BULK,
                     Elements{Number(BYOD_EXT_PHASE, phase)} + changes);
    };
    add("bulk",
        {bulk(BYOD_PHASE_BEGIN), bulk(BYOD_PHASE_MORE, Changes()), bulk(BYOD_PHASE_COMMIT)});
    add("aborted bulk",
        {bulk(BYOD_PHASE_BEGIN), bulk(BYOD_PHASE_MORE, Changes()), bulk(BYOD_PHASE_ABORT)});
    add("bulk that is left open", {bulk(BYOD_PHASE_BEGIN), bulk(BYOD_PHASE_MORE, Changes())});
    std::vector<Elements> restore = {
        RestorePhase(BYOD_PHASE_BEGIN, {Counter(BYOD_EXT_TOTAL, former_.size())})};
    for (size_t at = 0; at < former_.size(); at += BYOD_EXT_DATA_MAX) {
      restore.push_back(RestorePhase(
          BYOD_PHASE_MORE, {Bytes(BYOD_EXT_DATA, former_.substr(at, BYOD_EXT_DATA_MAX))}));
    }
    restore.push_back(RestorePhase(BYOD_PHASE_COMMIT, {}));
    add("restore", std::move(restore));
    return all;
  }

  static Elements RestorePhase(uint32_t phase, const Elements& elements) {
    return Request(BYOD_OP_SET, BYOD_EXT_MSG_RESTORE,
                   Elements{Number(BYOD_EXT_PHASE, phase)} + elements);
  }

  /// One of everything that a bulk can change, and things that are deleted and made again.
  static Elements Changes() {
    return {
        Change(BYOD_OP_UNDO, BYOD_MSG_UA_VALUE, {Keyword("Acme Phone")}),
        Change(BYOD_OP_UNDO, BYOD_MSG_UA_VALUE, {Keyword("Qhone")}),
        Change(BYOD_OP_SET, BYOD_MSG_UA_DEVATTR, Os({Keyword("qHONE")}, "other spelling")),
        Change(BYOD_OP_SET, BYOD_MSG_UA_DEVATTR, Os({Keyword("Ahone")}, "new")),
        Change(BYOD_OP_SET, BYOD_MSG_UA_DEVATTR, Os({Keyword("Phone")}, "modified again")),
        Change(BYOD_OP_UNDO, BYOD_MSG_DHCPOPT_VALUE, {OptionList("1,15")}),
        Change(BYOD_OP_SET, BYOD_MSG_DHCPOPT_DEVATTR, Os({OptionList("1,15")}, "made again")),
        Change(BYOD_OP_UNDO, BYOD_MSG_MAC_VALUE, Wide()),
        Change(BYOD_OP_SET, BYOD_MSG_MAC_DEVATTR, Os(Narrower(), "narrower")),
        Change(BYOD_OP_UNDO, BYOD_MSG_MAC_VALUE, Narrow()),
        Change(BYOD_OP_SET, BYOD_MSG_ORDER, OrderOf(1, 0, 2)),
        Change(BYOD_OP_UNDO, BYOD_EXT_MSG_AUTHORIZATION,
               {Text(BYOD_EXT_GROUP, "staff"), Text(BYOD_TLV_DEVTYPE, "PC")}),
        Change(BYOD_OP_SET, BYOD_EXT_MSG_AUTHORIZATION, SetOf("guests", "PC", "5")),
    };
  }

  template <typename Kind>
  static void AddRuleRequests(std::vector<Conversation>& all, const Elements& present,
                              const Elements& absent) {
    constexpr auto& kMessages = Kind::kMessages;
    const auto one = [&](const char* name, uint32_t operation, uint32_t kind,
                         const Elements& elements) {
      all.push_back({name, {Request(operation, kind, elements)}});
    };
    const Elements name = {Text(BYOD_TLV_DEVNAME, "named")};
    one("rule shown", BYOD_OP_GET, kMessages.rule, present);
    one("rules listed", BYOD_OP_GET, kMessages.list, {});
    one("rules counted", BYOD_OP_GET, kMessages.count, {});
    one("rule made", BYOD_OP_SET, kMessages.value, absent);
    one("rule made with a name", BYOD_OP_SET, kMessages.rule, absent + name);
    one("rule made with an attribute", BYOD_OP_SET, kMessages.attribute, Os(absent, "new"));
    one("rule named", BYOD_OP_SET, kMessages.rule, present + name);
    one("attribute changed", BYOD_OP_SET, kMessages.attribute, Os(present, "other"));
    one("attribute removed", BYOD_OP_UNDO, kMessages.attribute, Os(present, ""));
    one("rule removed", BYOD_OP_UNDO, kMessages.value, present);
  }

  void Begin() {
    Options options;
    options.state_dir = directory_.path();
    options.rules = rules_.path();
    state_ = std::make_unique<State>(options);
    state_->Load();
    watcher_ = std::make_unique<Watcher>([] {});
    watching_ = std::make_unique<WatchHub::Registration>(state_->watch_hub, *watcher_, 0);
  }
  void End() {
    watching_.reset();
    state_.reset();
  }

  /// Keeps the database as it is for Reset.
  void Keep() {
    End();
    std::filesystem::copy_file(directory_.path() + "/eBYOD.db", rules_.path() + "/kept.db");
    Begin();
  }
  void Reset() {
    End();
    std::filesystem::copy_file(rules_.path() + "/kept.db", directory_.path() + "/eBYOD.db",
                               std::filesystem::copy_options::overwrite_existing);
    Begin();
  }

  std::string Backup() {
    Session session(*state_, [] { return Peer{0, true}; });
    const Message request(Request(BYOD_OP_GET, BYOD_EXT_MSG_BACKUP));
    Exchange exchange{*state_, session, request.get(), 0, 0, {}, nullptr, false};
    Task task = FindTask(exchange);
    EXPECT_TRUE(Perform(task, exchange).Ok());
    std::string bytes;
    Pieces pieces;
    for (bool more = true; more;) {
      pieces.Clear();
      EXPECT_TRUE(exchange.series->Next(pieces, more));
      const tlv::Message reply = pieces.MakeReply(0);
      for (const Element& element : support::ElementsOf(reply.get()))
        if (element.type == BYOD_EXT_DATA) bytes += element.bytes;
    }
    return bytes;
  }

  /// Sends one request, as a connection does.
  Outcome Ask(Session& session, uint32_t request) {
    Exchange exchange{*state_, session, request, 0, 0, {}, nullptr, false};
    Task task = FindTask(exchange);
    const Result result = Perform(task, exchange);
    if (exchange.series) return Drain(*exchange.series);
    if (!exchange.reply && exchange.Answer(result).status() != 0) return Outcome::kEnded;
    return result.Ok() && AllDone(exchange.reply) ? Outcome::kDone : Outcome::kRefused;
  }
  static Outcome Drain(Series& series) {
    Pieces pieces;
    for (bool more = true; more;) {
      pieces.Clear();
      if (!series.Next(pieces, more)) return Outcome::kEnded;
      if (!pieces.MakeReply(0)) return Outcome::kEnded;
    }
    return Outcome::kDone;
  }
  /// Whether none of a bulk's changes was refused.
  static bool AllDone(const tlv::Message& reply) {
    for (uintptr_t at = TLV_GetFirst(reply.get()); at != 0; at = TLV_GetNext(reply.get(), at)) {
      if (TLV_GetTypeByIterator(reply.get(), at) != BYOD_EXT_RESULT) continue;
      if (TLV_GetUINTByIterator(reply.get(), at) != 0) return false;
    }
    return true;
  }

  /// Holds a conversation with the n-th call failing, until a request is not carried out.
  /// @param nth     from 1; 0: none
  /// @param failed  gets whether there were so many; may be null
  Outcome Hold(const Conversation& conversation, uint32_t nth, bool* failed = nullptr,
               Failing what = Failing::kAllocation) {
    std::vector<Message> requests;
    for (const Elements& elements : conversation.requests)
      requests.emplace_back(elements);
    Outcome outcome = Outcome::kDone;
    left = what == Failing::kFile ? static_cast<int>(nth) - 1 : -1;
    file_failed = false;
    support::FailingAllocation failing(what == Failing::kAllocation ? nth : 0);
    {
      std::optional<Session> session;
      try {
        session.emplace(*state_, [] { return Peer{0, true}; });
        for (const Message& request : requests) {
          outcome = Ask(*session, request.get());
          if (outcome != Outcome::kDone) break;
        }
      } catch (const std::bad_alloc&) {
        outcome = Outcome::kEnded;
      }
    }
    left = -1;
    if (failed != nullptr) *failed = failing.Failed() || file_failed;
    return outcome;
  }

  /// All rules, the order in which they are tried, the order of methods and the authorization.
  std::string Present() const {
    std::string text;
    ForEachKind([&](auto kind) {
      using Kind = decltype(kind);
      text += std::to_string(Kind::Count()) + " " + std::to_string(Kind::CustomCount()) + "\n";
      for (auto* rule = Kind::First(); rule != nullptr; rule = Kind::Next(rule)) {
        text += Kind::Describe(Kind::KeyOf(*rule)) + " " + std::to_string(rule->origin) +
                std::to_string(rule->modified) + " " + TextOfInfo(rule->predefined) + " " +
                TextOfInfo(rule->configured) + "\n";
      }
      for (const auto& [key, idle] : state_->idle_rules.template Of<Kind>())
        text += "idle " + Kind::Describe(key) + " " + TextOfInfo(&idle.info) + "\n";
    });
    for (const ByodLink* link = *BYOD_data_GetUserAgentRuleMatchList(); link != nullptr;
         link = link->next) {
      text += reinterpret_cast<const ByodUserAgentRule*>(reinterpret_cast<const char*>(link) -
                                                         offsetof(ByodUserAgentRule, match_link))
                  ->keyword +
              std::string(", ");
    }
    return text;
  }

  using Records = std::map<std::string, std::set<std::string>>;

  /// What the database would hold if everything in memory were stored now.
  Records Configured() const {
    Records records;
    ForEachKind([&](auto kind) {
      using Kind = decltype(kind);
      auto& list = records[Kind::kDatabaseKey];
      const auto add = [&](const auto& rule) {
        const auto record = Kind::RecordOf(rule);
        list.emplace(reinterpret_cast<const char*>(&record), sizeof record);
      };
      for (auto* rule = Kind::First(); rule != nullptr; rule = Kind::Next(rule))
        if (IsConfigured(rule->origin, rule->modified)) add(*rule);
      for (auto [key, idle] : state_->idle_rules.template Of<Kind>())
        add(DetachedRule<Kind>(key, idle));
    });
    for (const auto& [group, sets] : state_->authorization.groups()) {
      for (const auto& [category, attributes] : sets) {
        std::string record = category;
        record.resize(BYOD_DB_DEVTYPE_SIZE);
        Elements elements;
        for (const auto& [name, value] : attributes) {
          elements.push_back(Text(BYOD_EXT_ATTR_NAME, name));
          elements.push_back(Text(BYOD_EXT_ATTR_VALUE, value));
        }
        records[BYOD_DB_GROUP_PREFIX + group].insert(record + support::Serialize(elements));
      }
    }
    ByodOrder order;
    BYOD_order_GetOrder(&order);
    for (const uint32_t slot : order.slots)
      records["order"].insert(std::to_string(records["order"].size()) + std::to_string(slot));
    std::erase_if(records, [](const auto& list) { return list.second.empty(); });
    return records;
  }

  /// What the database holds.
  static Records Stored() {
    Records records;
    ByodOrder order;
    BYOD_order_SetDefaultOrder(&order);
    LAUTH_db_WalkKeys(
        BYOD_db_GetDBHandle(),
        [](void* context, const void* key, uint32_t length, uint32_t kind) -> int32_t {
          if (kind == LAUTH_DB_LIST) {
            auto& list =
                (*static_cast<Records*>(context))[std::string(static_cast<const char*>(key))];
            std::array<char, BYOD_DB_AUTZ_MAX> record;
            uintptr_t iterator = 0;
            for (int32_t got;
                 (got = DBM_GetNextSortList(BYOD_db_GetDBHandle(), key, length, &iterator, 0, 0,
                                            record.size(), record.data())) > 0;)
              list.emplace(record.data(), static_cast<size_t>(got));
            DBM_FreeIterator(BYOD_db_GetDBHandle(), &iterator);
          }
          return 0;
        },
        &records);
    std::array<uint8_t, BYOD_DB_ORDER_MAX> value;
    const int32_t length = DBM_GetBinary(BYOD_db_GetDBHandle(), BYOD_DB_ORDER_KEY,
                                         sizeof BYOD_DB_ORDER_KEY, 0, value.size(), value.data());
    if (length > 0) {
      const tlv::Message stored(TLV_CreateReceiveMsg(
          tlv::kMemory, reinterpret_cast<uintptr_t>(value.data()), static_cast<uint32_t>(length)));
      order = {{BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT, BYOD_ORDER_NO_SLOT}};
      BYOD_tlv_GetOrder(stored.get(), order.slots);
    }
    for (const uint32_t slot : order.slots)
      records["order"].insert(std::to_string(records["order"].size()) + std::to_string(slot));
    std::erase_if(records, [](const auto& list) { return list.second.empty(); });
    return records;
  }

  /// Everything that counts.
  struct Whole {
    std::string present;
    Records configured;
    bool operator==(const Whole&) const = default;
  };
  Whole Now() const { return {Present(), Configured()}; }

  static int Problems() {
    return testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
  }

  /// @return how many calls were made to fail
  uint32_t Sweep(const Conversation& conversation, Failing what) {
    SCOPED_TRACE(conversation.name);
    Reset();
    const Whole before = Now();
    EXPECT_EQ(before.configured, Stored());
    const Outcome usual = Hold(conversation, 0);
    const Whole after = Now();
    const int problems = Problems();
    uint32_t failures = 0;
    for (uint32_t n = 1;; n += what == Failing::kAllocation ? kAllocationStep : 1) {
      SCOPED_TRACE("failure " + std::to_string(n));
      if (Now() != before) Reset();
      bool failed = false;
      const Outcome outcome = Hold(conversation, n, &failed, what);
      const Whole now = Now();
      if (outcome == usual) {
        EXPECT_EQ(now.present, after.present);
        EXPECT_EQ(now.configured, after.configured);
      } else if (outcome == Outcome::kRefused || now != after) {
        EXPECT_EQ(now.present, before.present);
        EXPECT_EQ(now.configured, before.configured);
      }
      CheckWhatIsStored(now, what);
      if (!failed || Problems() > problems) return failures;
      ++failures;
    }
  }

  void CheckWhatIsStored(const Whole& now, Failing what) {
    EXPECT_TRUE(state_->gate.MayPass(nullptr));
    EXPECT_FALSE(state_->bulk.Open());
    EXPECT_TRUE(state_->store.Ready() || WaitUntilReady());
    EXPECT_EQ(now.configured, Stored());
    if (what != Failing::kFile) return;
    // What a restart finds.
    End();
    Begin();
    EXPECT_EQ(Now().present, now.present);
    EXPECT_EQ(Now().configured, now.configured);
  }

  /// A database that could not be opened is tried again after a second.
  bool WaitUntilReady() {
    std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    return state_->store.Ready();
  }

  uint32_t SweepAll(Failing what) {
    uint32_t failures = 0;
    size_t requests = 0;
    for (const Conversation& conversation : Conversations()) {
      failures += Sweep(conversation, what);
      requests += conversation.requests.size();
    }
    std::printf("%u calls failed in %zu requests\n", failures, requests);
    return failures;
  }

  HandlerDirectory directory_;
  HandlerDirectory rules_;
  std::unique_ptr<State> state_;
  std::unique_ptr<Watcher> watcher_;
  std::unique_ptr<WatchHub::Registration> watching_;
  std::string former_;  // a backup of another state
  Records end_of_setup_;
};

TEST_F(FailingCalls, EveryRequestOnAFailingDiskIsCarriedOutWholeOrChangesNothing) {
  EXPECT_GT(SweepAll(Failing::kFile), 200u);
}

// What a restart finds is what was there, whichever allocation failed before it.
TEST_F(FailingCalls, WhatIsRecoveredAtAStartIsWhatWasStored) {
  const Whole before = Now();
  for (uint32_t n = 1;; ++n) {
    SCOPED_TRACE("allocation " + std::to_string(n));
    state_->store.Close();
    support::FailingAllocation failing(n);
    const bool opened = state_->store.Open();
    const bool failed = failing.Failed();
    failing.Disarm();
    EXPECT_TRUE(opened || state_->store.Open());
    EXPECT_EQ(Now().present, before.present);
    EXPECT_EQ(Now().configured, before.configured);
    EXPECT_EQ(Stored(), end_of_setup_);
    if (!failed || HasFailure()) break;
  }
}

TEST_F(FailingCalls, EveryRequestWithoutMemoryIsCarriedOutWholeOrChangesNothing) {
  EXPECT_GT(SweepAll(Failing::kAllocation), 2000 / kAllocationStep);
}

}  // namespace
}  // namespace byod::lauthd
