// SPDX-License-Identifier: Apache-2.0
// Device information: what is in one, and making, copying and stripping it.
#include <cstdlib>

#include "byod_data.h"
#include "data/bounded_copy.h"
#include "data/internal.h"

namespace {

bool HasName(const ByodDeviceInfo& info) {
  return info.name[0] != '\0';
}

bool HasAttribute(const ByodDeviceInfo& info) {
  return info.vendor[0] != '\0' || info.category[0] != '\0' || info.os[0] != '\0';
}

enum StripMode : uint32_t { kStripName = 0, kStripAttributes = 1 };

/// Clears the one half of an information if the other half remains.
bool Strip(uint32_t mode, ByodDeviceInfo& info) {
  if (mode == kStripName && HasAttribute(info)) {
    info.name[0] = '\0';
    return true;
  }
  if (mode == kStripAttributes && HasName(info)) {
    info.vendor[0] = info.category[0] = info.os[0] = '\0';
    return true;
  }
  return false;
}

}  // namespace

uint32_t BYOD_data_IsDeviceAttriExist(const ByodDeviceInfo* info) {
  return info != nullptr && HasAttribute(*info);
}

uint32_t BYOD_data_IsDeviceInfoExist(const ByodDeviceInfo* info) {
  return HasName(*info) || HasAttribute(*info);
}

uint32_t BYOD_data_IsPredefinedRuleModify(uint32_t origin, const ByodDeviceInfo* info) {
  return origin == BYOD_RULE_PREDEFINED && info != nullptr && BYOD_data_IsDeviceInfoExist(info);
}

void BYOD_data_AddDeviceAttr(uint32_t kind, const ByodDeviceInfo* src, ByodDeviceInfo* dst) {
  if (src == nullptr || dst == nullptr) return;
  switch (kind) {
    case BYOD_ATTR_VENDOR:
      return byod::CopyText(dst->vendor, src->vendor);
    case BYOD_ATTR_CATEGORY:
      return byod::CopyText(dst->category, src->category);
    case BYOD_ATTR_OS:
      return byod::CopyText(dst->os, src->os);
    default:
      return;
  }
}

ByodDeviceInfo* BYOD_data_CreateDeviceInfo(const char* name, const char* vendor,
                                           const char* category, const char* os) {
  auto* info = static_cast<ByodDeviceInfo*>(std::calloc(1, sizeof(ByodDeviceInfo)));
  if (info == nullptr) return nullptr;
  byod::CopyText(info->name, name);
  byod::CopyText(info->os, os);
  byod::CopyText(info->category, category);
  byod::CopyText(info->vendor, vendor);
  return info;
}

uint32_t byod_data_StripDeviceInfo(uint32_t mode, ByodDeviceInfo* info) {
  return info == nullptr || !Strip(mode, *info);
}

uint32_t byod_data_StripDeviceInfoPart(uint32_t mode, ByodDeviceInfo* info) {
  return Strip(mode, *info);
}
