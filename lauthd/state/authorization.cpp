// SPDX-License-Identifier: Apache-2.0
#include "lauthd/state/authorization.h"

#include <cstring>
#include <new>

#include "byod_db.h"
#include "byod_lauthservice.h"
#include "byod_tlv.h"
#include "data/bounded_copy.h"
#include "lauth_dbm.h"
#include "lauthd/log.h"
#include "protocol/extensions.h"

namespace byod::lauthd {
namespace {

Authorization* recovering = nullptr;
uint64_t recovered_sets = 0;

/// The library's hook: takes a stored set back. No exception may pass through the library.
uint32_t RollBack(const void* record, const char* group, uint32_t message) try {
  const auto* const type = static_cast<const char*>(record);
  Attributes attributes;
  if (recovering == nullptr || !ReadAttributes(message, attributes)) {
    Log(Severity::kWarning, "a stored authorization of the group \"%s\" cannot be read", group);
    return BYOD_ERR_FAILED;
  }
  recovering->Put(group, std::string(type, strnlen(type, BYOD_DB_DEVTYPE_SIZE)),
                  std::move(attributes));
  ++recovered_sets;
  return 0;
} catch (const std::bad_alloc&) {
  Log(Severity::kWarning, "no memory for a stored authorization of the group \"%s\"", group);
  return BYOD_ERR_FAILED;
}

/// Whether nothing is stored for a type. A lookup that fails does not find nothing.
bool IsRemoved(const std::string& group, const char (&type)[BYOD_DB_DEVTYPE_SIZE]) {
  char key[BYOD_DB_GROUP_KEY_SIZE];
  const uint32_t key_length = BYOD_db_MakeGroupAutzKey(group.c_str(), key);
  char record[BYOD_DB_DEVTYPE_SIZE];
  CopyText(record, type);
  return DBM_GetSortList(BYOD_db_GetDBHandle(), key, key_length, sizeof record, record) == 0;
}

uintptr_t NotOffered(uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t) {
  return BYOD_ERR_FAILED;
}

/// Reads one text element. @return false when it is too long, or not of that type
bool ReadText(uint32_t message, uintptr_t element, uint16_t type, size_t size, std::string& text) {
  if (element == 0 || TLV_GetTypeByIterator(message, element) != type) return false;
  const uint16_t length = TLV_GetLenByIterator(message, element);
  if (length == 0 || length > size) return false;
  text.resize(length);
  if (TLV_GetValueByIterator(message, element, length, text.data()) != 0) return false;
  text.resize(strnlen(text.data(), length - 1u));
  return true;
}

}  // namespace

const Attributes* Authorization::Find(std::string_view group, std::string_view category) const {
  const auto sets = groups_.find(group);
  if (sets == groups_.end()) return nullptr;
  const auto found = sets->second.find(category);
  return found != sets->second.end() ? &found->second : nullptr;
}

const Authorization::Sets::value_type* Authorization::Applying(std::string_view group,
                                                               std::string_view category) const {
  const auto sets = groups_.find(group);
  if (sets == groups_.end()) return nullptr;
  auto found = sets->second.find(category);
  if (found == sets->second.end()) found = sets->second.find(BYOD_EXT_ANY_TYPE);
  return found != sets->second.end() ? &*found : nullptr;
}

void Authorization::Put(const std::string& group, const std::string& category,
                        std::optional<Attributes> attributes) {
  if (attributes) {
    groups_[group][category] = std::move(*attributes);
    return;
  }
  const auto sets = groups_.find(group);
  if (sets == groups_.end()) return;
  sets->second.erase(category);
  if (sets->second.empty()) groups_.erase(sets);
}

Authorization::Draft::Draft(const Authorization& authorization, const std::string& group)
    : group_(group) {
  const auto present = authorization.groups_.find(group);
  sets_.emplace(group, present != authorization.groups_.end() ? present->second : Sets());
}

void Authorization::Draft::Put(const std::string& category, std::optional<Attributes> attributes) {
  Sets& sets = sets_.begin()->second;
  if (attributes) {
    sets[category] = std::move(*attributes);
  } else {
    sets.erase(category);
  }
}

void Authorization::Exchange(Draft& draft) noexcept {
  auto fresh = draft.sets_.extract(draft.group_);
  auto former = groups_.extract(draft.group_);
  if (!fresh.empty() && !fresh.mapped().empty()) groups_.insert(std::move(fresh));
  if (!former.empty()) draft.sets_.insert(std::move(former));
}

void InstallService(Authorization& authorization) {
  recovering = &authorization;
  // This daemon has no message heads or event loop to offer, and reports that to the caller.
  const ByodServiceTable services = {NotOffered, NotOffered, NotOffered, NotOffered,
                                     NotOffered, NotOffered, RollBack,   {}};
  BYOD_lauthservice_SetService(&services);
}

uint64_t RecoveredSets() {
  return recovered_sets;
}

void RemoveService() {
  BYOD_lauthservice_ResetService();
  recovering = nullptr;
}

bool ReadAttributes(uint32_t message, Attributes& attributes) {
  for (uintptr_t element = TLV_GetFirst(message); element != 0;
       element = TLV_GetNext(message, element)) {
    if (TLV_GetTypeByIterator(message, element) != BYOD_EXT_ATTR_NAME) continue;
    std::string name;
    std::string value;
    if (!ReadText(message, element, BYOD_EXT_ATTR_NAME, BYOD_EXT_ATTR_NAME_SIZE, name))
      return false;
    element = TLV_GetNext(message, element);
    if (!ReadText(message, element, BYOD_EXT_ATTR_VALUE, BYOD_EXT_ATTR_VALUE_SIZE, value)) {
      return false;
    }
    if (name.empty()) return false;
    attributes.emplace_back(std::move(name), std::move(value));
  }
  return true;
}

void AppendAttributes(tlv::Appender& append, const Attributes& attributes) {
  for (const auto& [name, value] : attributes)
    append.Text(BYOD_EXT_ATTR_NAME, name.c_str()).Text(BYOD_EXT_ATTR_VALUE, value.c_str());
}

uint32_t StoreSet(const std::string& group, const std::string& category,
                  const Attributes* attributes) {
  if (attributes == nullptr) {
    char type[BYOD_DB_DEVTYPE_SIZE] = {};
    CopyText(type, category.c_str());
    const uint32_t failed = BYOD_db_DeleteDeviceTypeAuthorAttr(group.c_str(), type);
    if (failed != 0) return failed;
    return IsRemoved(group, type) ? 0 : uint32_t{BYOD_ERR_FAILED};
  }
  const tlv::Message message(TLV_Create());
  tlv::Appender append(message.get());
  AppendAttributes(append, *attributes);
  if (append.status() != 0) return BYOD_ERR_FAILED;
  return BYOD_db_AddDeviceTypeAuthorAttr(group.c_str(), category.c_str(), message.get());
}

tlv::Message EncodeSet(std::string_view group, std::string_view category,
                       const Attributes& attributes) {
  tlv::Message set(TLV_Create());
  if (!set) return set;
  tlv::Appender append(set.get());
  append.Text(BYOD_EXT_GROUP, std::string(group).c_str());
  append.Text(BYOD_TLV_DEVTYPE, std::string(category).c_str());
  AppendAttributes(append, attributes);
  if (append.status() != 0) return tlv::Message();
  return set;
}

bool AppendSet(tlv::Appender& append, std::string_view group, std::string_view category,
               const Attributes& attributes) {
  const tlv::Message set = EncodeSet(group, category, attributes);
  return set &&
         append.Combine(BYOD_tlv_PutSubTlv(append.message(), BYOD_EXT_AUTHORIZATION, set.get()))
                 .status() == 0;
}

}  // namespace byod::lauthd
