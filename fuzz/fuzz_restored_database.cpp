// SPDX-License-Identifier: Apache-2.0
// Attacks the daemon's check of a database that is put in place of its own, and the recovery from
// it: Store::Restore with CheckRestored, LAUTH_db_Restore, and the BYOD_db_...Recover functions.
//
// The first byte of the input says how the rest becomes a database:
//
//   0  as it is, the bytes of a file
//   1  a good database in which some bytes are others: 2 bytes of offset, in steps of 4, 1 byte of
//      length, and as many bytes, again and again
//   2  records that the platform writes, with right checksums: 1 byte for the key, 2 bytes of
//   length,
//      and as many bytes, again and again
//
// A database that is refused must leave the one in place, and its rules, as they were. From one
// that is taken, a backup and its restoring must bring the same rules, order and authorization
// back.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "byod_db.h"
#include "byod_order.h"
#include "fuzz/scratch_directory.h"
#include "lauth_dbm.h"
#include "lauth_dbm_admin.h"
#include "lauthd/log.h"
#include "lauthd/state/authorization.h"
#include "lauthd/state/idle_rules.h"
#include "lauthd/state/rule_kind.h"
#include "lauthd/state/store.h"

namespace {

using namespace byod::lauthd;

constexpr uint32_t kRuleLimit = 50;
constexpr char kName[] = "eBYOD";
constexpr DBM_Parameters kParameters = {{0, 0, 1, 0}, "SEC-BYOD-CFG"};

void Expect(bool truth) {
  if (!truth) std::abort();
}

/// A key that a record of an input goes under.
struct Key {
  std::string text;
  uint32_t sort_key_size;  // 0: a value
  uint32_t number;
  uint32_t size;  // that the daemon expects; 0 = any
};

const std::vector<Key>& Keys() {
  static const std::vector<Key> keys = {
      {BYOD_DB_MAC_KEY, BYOD_MACTEXT_SIZE, BYOD_DB_MAC_LIST, sizeof(ByodMacRuleShowRec)},
      {BYOD_DB_USERAGENT_KEY, BYOD_RULETEXT_SIZE, BYOD_DB_USERAGENT_LIST,
       sizeof(ByodTextRuleShowRec)},
      {BYOD_DB_DHCPOPT_KEY, BYOD_RULETEXT_SIZE, BYOD_DB_DHCPOPT_LIST, sizeof(ByodTextRuleShowRec)},
      {std::string(BYOD_DB_GROUP_PREFIX) + "staff", BYOD_DB_DEVTYPE_SIZE, BYOD_DB_GROUP_LIST, 0},
      {BYOD_DB_ORDER_KEY, 0, 0, 0},
      {"unknown", 16, 0, 0},
      {BYOD_DB_GROUP_PREFIX, BYOD_DB_DEVTYPE_SIZE, BYOD_DB_GROUP_LIST, 0},
  };
  return keys;
}

/// Takes bytes off the front of an input, as many as there are.
std::span<const uint8_t> Take(std::span<const uint8_t>& input, size_t count) {
  const auto taken = input.first(std::min(count, input.size()));
  input = input.subspan(taken.size());
  return taken;
}

uint32_t TakeNumber(std::span<const uint8_t>& input, size_t count) {
  uint32_t number = 0;
  for (const uint8_t byte : Take(input, count))
    number = number << 8 | byte;
  return number;
}

/// The database of the rest of the daemon's life, and files beside it.
class Fuzzed {
 public:
  Fuzzed() : store_(directory_ / "state", false, idle_, authorization_) {
    SetLogLevel(Severity::kError);
    Expect(BYOD_data_GlobalInfoInit(kRuleLimit) == 0);
    BYOD_order_Init();
    AddPredefined();
    InstallService(authorization_);
    Expect(store_.Open());
    MakeGood();
  }

  void Try(uint8_t form, std::span<const uint8_t> input) {
    const std::string file = directory_ / "input";
    std::filesystem::remove(file);
    if (form == 2) {
      WriteRecords(input, file);
    } else {
      directory_.Write("input", form == 1 ? Patched(input) : Text(input));
    }
    const std::string before = State();
    if (!store_.Restore(file, kRuleLimit).Ok()) {
      Expect(store_.DatabaseState() == BYOD_DATABASE_OPEN);
      Expect(State() == before);
      store_.Recover();
      Expect(State() == before);
      return;
    }
    store_.Recover();
    CheckSecondRestore();
  }

 private:
  static std::string Text(std::span<const uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
  }

  static void AddPredefined() {
    ByodDeviceInfo info = {};
    std::strcpy(info.vendor, "Predefined");
    ByodMacRule rule = {};
    std::memcpy(rule.mac, "\x00\x11\x22\x00\x00\x00", 6);
    std::memcpy(rule.mask, "\xFF\xFF\xFF\x00\x00\x00", 6);
    BYOD_data_AddFileMacRule(&rule, &info);
    BYOD_data_AddFileAgentRule("iPhone", &info);
    BYOD_data_AddFileDhcpOptionRule("1,3,6", &info);
  }

  /// The database that is patched: something under each key.
  void MakeGood() {
    std::vector<uint8_t> rows;
    const auto add = [&](uint8_t key, std::string record, size_t size) {
      record.resize(std::max(size, record.size()));
      rows.insert(rows.end(), {key, static_cast<uint8_t>(record.size() >> 8),
                               static_cast<uint8_t>(record.size())});
      rows.insert(rows.end(), record.begin(), record.end());
    };
    add(0, std::string("0011-2200-0000\0\xFF\xFF\xFF\0\0\0Reader", 27), 341);
    add(1, "Nokia&&Mobile||iPad", 576);
    add(2, "1,3,6,15", 576);
    add(3,
        "Mobile" + std::string(122, '\0') +
            std::string("\xF9LM\x01\0\0\0\x18\x04\x1B\0\x05vlan\0\x04\x1C\0\x03"
                        "20\0",
                        24),
        0);
    add(4, std::string("\xF9LM\x01\0\0\0\x10\0\x0F\0\x04\0\0\0\x02", 16), 0);
    const std::string file = directory_ / "good";
    WriteRecords(rows, file);
    std::ifstream stream(file, std::ios::binary);
    good_.assign(std::istreambuf_iterator<char>(stream), {});
    Expect(good_.size() >= 4096 && store_.Restore(file, kRuleLimit).Ok());
    store_.Recover();
    Expect(Byod_GetCustomRuleCount() == 2);
  }

  std::string Patched(std::span<const uint8_t> input) const {
    std::string bytes = good_;
    while (!input.empty()) {
      const size_t offset = TakeNumber(input, 2) * size_t{4} % bytes.size();
      const auto patch = Take(input, TakeNumber(input, 1));
      const size_t length = std::min(patch.size(), bytes.size() - offset);
      std::copy_n(patch.begin(), length, bytes.begin() + static_cast<ptrdiff_t>(offset));
    }
    return bytes;
  }

  /// Writes a backup of a database that the platform fills.
  void WriteRecords(std::span<const uint8_t> input, const std::string& file) {
    const std::string other = directory_ / "other";
    LAUTH_db_SetDirectory(other.c_str());
    int32_t handle = -1;
    Expect(DBM_Open(kName, "BYOD", DBM_MODE, &kParameters, &handle) == 0);
    Expect(LAUTH_db_Begin(handle) == 0);
    while (!input.empty()) {
      const Key& key = Keys()[TakeNumber(input, 1) % Keys().size()];
      const size_t length = TakeNumber(input, 2);
      WriteRecord(handle, key, Take(input, length));
    }
    Expect(LAUTH_db_Commit(handle) == 0);
    Expect(LAUTH_db_Backup(handle, file.c_str()) == 0);
    DBM_Close(handle);
    Expect(DBM_Delete(kName) == 0);
    LAUTH_db_SetDirectory(store_.directory().c_str());
  }

  static void WriteRecord(int32_t handle, const Key& key, std::span<const uint8_t> bytes) {
    std::vector<uint8_t> record(bytes.begin(), bytes.end());
    const auto key_length = static_cast<uint32_t>(key.text.size() + 1);
    if (key.sort_key_size == 0) {
      DBM_SetBinary(handle, key.text.c_str(), key_length, 0, static_cast<uint32_t>(record.size()),
                    record.data(), 4);
      return;
    }
    // A short record is one of the usual size: a wrong size is refused before anything is read.
    if (record.size() < key.size) record.resize(key.size);
    const uint32_t descriptor[4] = {0, key.sort_key_size, DBM_COMPARE_TEXT, 0};
    DBM_CreateSortList(handle, key.text.c_str(), key_length, descriptor, 1, key.number);
    DBM_InsertSortList(handle, key.text.c_str(), key_length, static_cast<uint32_t>(record.size()),
                       record.data(), key.number);
  }

  /// What the daemon answers from: all that an administrator configured.
  std::string State() const {
    std::string state;
    ForEachKind([&](auto kind) {
      using Kind = decltype(kind);
      for (auto* rule = Kind::First(); rule != nullptr; rule = Kind::Next(rule)) {
        state += Kind::Describe(Kind::KeyOf(*rule)) + " " + std::to_string(rule->origin) + " " +
                 std::to_string(rule->modified);
        if (const ByodDeviceInfo* const info = rule->configured) {
          for (const char* const field : {info->name, info->vendor, info->category, info->os})
            state += std::string(" ") + field;
        }
        state += "\n";
      }
    });
    ByodOrder order;
    BYOD_order_GetOrder(&order);
    for (const uint32_t slot : order.slots)
      state += std::to_string(slot) + " ";
    for (const auto& [group, sets] : authorization_.groups()) {
      for (const auto& [category, attributes] : sets) {
        state.append("\n").append(group).append(" ").append(category);
        for (const auto& [name, value] : attributes)
          state.append(" ").append(name).append("=").append(value);
      }
    }
    return state;
  }

  void CheckSecondRestore() {
    // The first recovery may have tidied what is stored; from then on nothing changes.
    store_.Recover();
    const std::string before = State();
    const std::string file = directory_ / "backup";
    std::filesystem::remove(file);
    Expect(store_.Backup(file).Ok());
    Expect(store_.Restore(file, kRuleLimit).Ok());
    store_.Recover();
    Expect(State() == before);
    Expect(Byod_GetCustomRuleCount() <= kRuleLimit);
  }

  fuzz::ScratchDirectory directory_;
  IdleRules idle_;
  Authorization authorization_;
  Store store_;
  std::string good_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  static Fuzzed& fuzzed = *new Fuzzed;
  fuzzed.Try(data[0] % 3, {data + 1, size - 1});
  return 0;
}
