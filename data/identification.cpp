// SPDX-License-Identifier: Apache-2.0
// What the rules say about a terminal: one lookup per method, in two forms, tried in the current
// order.
#include <optional>

#include "byod_order.h"
#include "data/bounded_copy.h"
#include "data/identification_log.h"
#include "data/internal.h"
#include "data/user_agent/first_match.h"
#include "mac.h"
#include "net/mac_address.h"

namespace byod::data {
namespace {

/// A rule's two informations, either of which may be null.
struct Found {
  const ByodDeviceInfo* predefined;
  const ByodDeviceInfo* configured;
};

template <typename Rule>
std::optional<Found> InfoOf(const Rule* rule) {
  if (rule == nullptr) return std::nullopt;
  return Found{rule->predefined, rule->configured};
}

std::optional<Found> LookUpMac(const uint8_t* mac) {
  ByodMacRule probe = {};
  std::memcpy(probe.mac, mac, sizeof probe.mac);
  MAC_BroadcastAddr(probe.mask);
  return InfoOf(BYOD_data_FindMacRule(&probe));
}

std::optional<Found> LookUpUserAgent(const char* ua) {
  return InfoOf(FirstMatch(ua));
}

std::optional<Found> LookUpDhcpOption(const char* text) {
  return InfoOf(BYOD_data_FindDhcpOptionRule(text));
}

/// A rule that is found is a success, also when it says nothing.
uint32_t Merge(const std::optional<Found>& found, ByodDeviceAttribute* attr) {
  if (!found) return BYOD_ERR_FAILED;
  byod_data_MergeDeviceInfo(found->predefined, found->configured, attr);
  return 0;
}

uint32_t SelectName(const std::optional<Found>& found, uint32_t size, char* out) {
  if (!found) return BYOD_ERR_FAILED;
  return byod_data_SelectDeviceName(found->predefined, found->configured, size, out);
}

template <size_t Size>
void MergeField(char (&field)[Size], const ByodDeviceInfo* configured,
                const ByodDeviceInfo* predefined, char (ByodDeviceInfo::*source)[Size]) {
  if (field[0] != '\0') return;
  if (configured != nullptr) CopyPresentText(field, configured->*source);
  if (field[0] == '\0' && predefined != nullptr) CopyPresentText(field, predefined->*source);
}

struct OptionText {
  char text[BYOD_RULETEXT_SIZE] = "";

  /// @return whether the fingerprint has an option list and its text fits
  bool Format(const ByodFingerPrint& fp) {
    return fp.option_length != 0 &&
           BYOD_data_GetDhcpOption55String(fp.option_length, fp.options, sizeof text, text) == 0;
  }
};

bool IsComplete(const ByodDeviceAttribute& attr) {
  return attr.vendor[0] != '\0' && attr.category[0] != '\0' && attr.os[0] != '\0';
}

/// Ends an attribute method that succeeded. What is logged is all that is known by now, from
/// earlier methods too.
uint32_t Identified(uint32_t method, const void* key, const ByodDeviceAttribute* attr,
                    uint16_t* complete) {
  *complete = IsComplete(*attr);
  LogAttributes(method, key, *attr);
  return 0;
}

uint32_t TypeIdentified(uint32_t method, const char* type, const void* key) {
  LogName(method, type, key);
  return 0;
}

using AttributeMethod = uint32_t (*)(const ByodFingerPrint*, ByodDeviceAttribute*, uint16_t*);
using TypeMethod = uint32_t (*)(const ByodFingerPrint*, uint32_t, char*);

// By BYOD_METHOD_*.
constexpr AttributeMethod kAttributeMethods[BYOD_METHOD_COUNT] = {
    byod_data_AttriByDhcpFingerPrint, byod_data_AttriByUserAgentFingerPrint,
    byod_data_AttriByMacFingerPrint};
constexpr TypeMethod kTypeMethods[BYOD_METHOD_COUNT] = {byod_data_TypeByDhcpFingerPrint,
                                                        byod_data_TypeByUserAgentFingerPrint,
                                                        byod_data_TypeByMacFingerPrint};

/// Tries the methods of the current order, until one is enough or the order ends.
template <typename Method, typename Try>
uint32_t InOrder(const Method (&methods)[BYOD_METHOD_COUNT], Try is_enough) {
  ByodOrder order;
  BYOD_order_GetOrder(&order);
  uint32_t result = BYOD_ERR_FAILED;
  for (const uint32_t slot : order.slots) {
    if (slot >= BYOD_METHOD_COUNT || is_enough(methods[slot], result)) break;
  }
  return result;
}

}  // namespace
}  // namespace byod::data

using byod::data::Identified;
using byod::data::OptionText;
using byod::data::TypeIdentified;

void byod_data_MergeDeviceInfo(const ByodDeviceInfo* predefined, const ByodDeviceInfo* configured,
                               ByodDeviceAttribute* attr) {
  using byod::data::MergeField;
  MergeField(attr->vendor, configured, predefined, &ByodDeviceInfo::vendor);
  MergeField(attr->category, configured, predefined, &ByodDeviceInfo::category);
  MergeField(attr->os, configured, predefined, &ByodDeviceInfo::os);
}

uint32_t byod_data_SelectDeviceName(const ByodDeviceInfo* predefined,
                                    const ByodDeviceInfo* configured, uint32_t size, char* out) {
  if (size > 0) out[0] = '\0';
  const ByodDeviceInfo* const named =
      configured != nullptr && configured->name[0] != '\0' ? configured : predefined;
  if (named == nullptr || named->name[0] == '\0') return BYOD_ERR_FAILED;
  if (std::strlen(named->name) >= size) return BYOD_ERR_FAILED;
  byod::CopyText(out, size, named->name);
  return 0;
}

uint32_t BYOD_data_GetDevAttriByUserAgent(const char* ua, ByodDeviceAttribute* attr) {
  return byod::data::Merge(byod::data::LookUpUserAgent(ua), attr);
}

uint32_t BYOD_data_GetDevAttriByMac(const uint8_t* mac, ByodDeviceAttribute* attr) {
  return byod::data::Merge(byod::data::LookUpMac(mac), attr);
}

uint32_t BYOD_data_GetDevTypeByUserAgent(const char* ua, uint32_t size, char* out) {
  return byod::data::SelectName(byod::data::LookUpUserAgent(ua), size, out);
}

uint32_t BYOD_data_GetDevTypeByMac(const uint8_t* mac, uint32_t size, char* out) {
  return byod::data::SelectName(byod::data::LookUpMac(mac), size, out);
}

uint32_t BYOD_data_GetDevTypeByDhcpOption(const char* text, uint32_t size, char* out) {
  return byod::data::SelectName(byod::data::LookUpDhcpOption(text), size, out);
}

uint32_t byod_data_AttriByDhcpFingerPrint(const ByodFingerPrint* fp, ByodDeviceAttribute* attr,
                                          uint16_t* complete) {
  *complete = 0;
  OptionText option;
  if (!option.Format(*fp)) return BYOD_ERR_FAILED;
  if (byod::data::Merge(byod::data::LookUpDhcpOption(option.text), attr) != 0) {
    return BYOD_ERR_FAILED;
  }
  return Identified(BYOD_METHOD_DHCP, option.text, attr, complete);
}

uint32_t byod_data_AttriByUserAgentFingerPrint(const ByodFingerPrint* fp, ByodDeviceAttribute* attr,
                                               uint16_t* complete) {
  *complete = 0;
  if (fp->user_agent[0] == '\0') return BYOD_ERR_FAILED;
  if (BYOD_data_GetDevAttriByUserAgent(fp->user_agent, attr) != 0) return BYOD_ERR_FAILED;
  return Identified(BYOD_METHOD_USERAGENT, fp->user_agent, attr, complete);
}

uint32_t byod_data_AttriByMacFingerPrint(const ByodFingerPrint* fp, ByodDeviceAttribute* attr,
                                         uint16_t* complete) {
  *complete = 0;
  if (byod::net::LoadMac(fp->mac) == 0) return BYOD_ERR_FAILED;
  if (BYOD_data_GetDevAttriByMac(fp->mac, attr) != 0) return BYOD_ERR_FAILED;
  return Identified(BYOD_METHOD_MAC, fp->mac, attr, complete);
}

uint32_t byod_data_TypeByDhcpFingerPrint(const ByodFingerPrint* fp, uint32_t size, char* out) {
  OptionText option;
  if (!option.Format(*fp)) return BYOD_ERR_FAILED;
  if (BYOD_data_GetDevTypeByDhcpOption(option.text, size, out) != 0) return BYOD_ERR_FAILED;
  return TypeIdentified(BYOD_METHOD_DHCP, out, option.text);
}

uint32_t byod_data_TypeByUserAgentFingerPrint(const ByodFingerPrint* fp, uint32_t size, char* out) {
  if (fp->user_agent[0] == '\0') return BYOD_ERR_FAILED;
  if (BYOD_data_GetDevTypeByUserAgent(fp->user_agent, size, out) != 0) return BYOD_ERR_FAILED;
  return TypeIdentified(BYOD_METHOD_USERAGENT, out, fp->user_agent);
}

// Unlike the attribute method, this one looks an all-zero address up like any other.
uint32_t byod_data_TypeByMacFingerPrint(const ByodFingerPrint* fp, uint32_t size, char* out) {
  if (BYOD_data_GetDevTypeByMac(fp->mac, size, out) != 0) return BYOD_ERR_FAILED;
  return TypeIdentified(BYOD_METHOD_MAC, out, fp->mac);
}

uint32_t BYOD_data_GetDeviceAttributeByFingerPrint(const ByodFingerPrint* fp,
                                                   ByodDeviceAttribute* attr) {
  if (fp == nullptr || attr == nullptr) return BYOD_ERR_FAILED;
  const uint32_t result = byod::data::InOrder(
      byod::data::kAttributeMethods, [&](byod::data::AttributeMethod method, uint32_t& last) {
        uint16_t complete = 0;
        last = method(fp, attr, &complete);
        return last == 0 && complete == 1;
      });
  // A part of an answer is an answer, also when the caller brought it.
  const bool any = attr->vendor[0] != '\0' || attr->category[0] != '\0' || attr->os[0] != '\0';
  return any ? 0 : result;
}

uint32_t BYOD_data_GetDeviceTypeByFingerPrint(const ByodFingerPrint* fp, uint32_t size, char* out) {
  if (fp == nullptr || out == nullptr) return BYOD_ERR_FAILED;
  if (size > 0) out[0] = '\0';
  return byod::data::InOrder(byod::data::kTypeMethods,
                             [&](byod::data::TypeMethod method, uint32_t& last) {
                               last = method(fp, size, out);
                               return last == 0;
                             });
}
