// SPDX-License-Identifier: Apache-2.0
#include "rulefiles/rule_file.h"

#include <bit>
#include <charconv>
#include <initializer_list>
#include <optional>
#include <utility>

#include "byod_data.h"
#include "net/mac_text.h"
#include "rulefiles/text.h"

namespace byod::rulefiles {
namespace {

constexpr unsigned kAllBits = 48;

/// Why a row cannot be used; empty = it can.
using Fault = std::string;

Fault TooLong(std::string_view what, std::string_view text, size_t size_with_nul) {
  if (text.size() < size_with_nul) return {};
  return std::string{what} + " is " + std::to_string(text.size()) + " bytes long, " +
         std::to_string(size_with_nul - 1) + " fit";
}

/// A decimal number and nothing else.
std::optional<unsigned> Number(std::string_view text) {
  unsigned value = 0;
  const auto [stop, error] = std::from_chars(text.begin(), text.end(), value);
  if (text.empty() || error != std::errc{} || stop != text.end()) return std::nullopt;
  return value;
}

std::optional<unsigned> PrefixLength(std::string_view text) {
  const auto bits = Number(text);
  return bits && *bits >= 1 && *bits <= kAllBits ? bits : std::nullopt;
}

/// How many bits a mask keeps; it reports a mask that is not a prefix.
Fault ReadMask(std::string_view text, unsigned& bits) {
  if (const auto length = PrefixLength(text)) {
    bits = *length;
    return {};
  }
  const auto mask = net::ParseMac(text);
  if (!mask) return "mask " + Quoted(text) + " is neither an address nor 1 to 48 bits";
  const uint64_t value = net::MakePrefix(*mask, kAllBits).address;
  bits = static_cast<unsigned>(std::countl_one(value << (64 - kAllBits)));
  if (bits == 0) return "mask " + Quoted(text) + " keeps no leading bit";
  if (net::MakePrefix(value, bits).address != value) return "mask " + Quoted(text) + " has a gap";
  return {};
}

Fault ReadPrefix(std::string_view address, std::string_view mask, net::Prefix& prefix) {
  if (address.empty()) return "mac is empty";
  const size_t slash = address.find('/');
  const auto digits = net::MacDigits(address.substr(0, slash));
  if (!digits) return "address " + Quoted(address) + " is malformed";
  const unsigned known_bits = 4 * static_cast<unsigned>(digits->size());

  std::optional<unsigned> length;
  if (slash != std::string_view::npos) {
    length = PrefixLength(address.substr(slash + 1));
    if (!length) return "prefix length of " + Quoted(address) + " is not 1 to 48";
    if (*length > known_bits) return "address " + Quoted(address) + " is shorter than its prefix";
  } else if (known_bits < kAllBits) {
    return "address " + Quoted(address) + " is cut short without a prefix length";
  }
  unsigned bits = length.value_or(kAllBits);
  if (!mask.empty()) {
    Fault fault = ReadMask(mask, bits);
    if (!fault.empty()) return fault;
    if (length && *length != bits) {
      return "prefix length of " + Quoted(address) + " contradicts mask " + Quoted(mask);
    }
  }
  prefix = net::MakePrefix(net::PrefixFromDigits(*digits).address, bits);
  return {};
}

Fault FaultOfExpression(const std::string& text) {
  if (text.empty()) return "expression is empty";
  return TooLong("expression", text, BYOD_RULETEXT_SIZE);
}

/// Only the text that the matching writes for a list can be found: no blanks, no leading zeros.
Fault FaultOfOptions(const std::string& text) {
  if (text.empty()) return "options is empty";
  Fault malformed = "option list " + Quoted(text) + " is malformed";
  std::string_view rest = text;
  for (bool more = true; more;) {
    const size_t comma = rest.find(',');
    const std::string_view number = rest.substr(0, comma);
    if (number.empty() || number.find_first_not_of("0123456789") != std::string_view::npos ||
        (number.size() > 1 && number.front() == '0')) {
      return malformed;
    }
    if (Number(number).value_or(256) > 255) {  // no value = beyond any number
      return "option number " + std::string{number} + " is above 255";
    }
    more = comma != std::string_view::npos;
    if (more) rest.remove_prefix(comma + 1);
  }
  return TooLong("options", text, BYOD_RULETEXT_SIZE);
}

/// How the key of a kind is checked that is stored as its text.
struct TextKey {
  std::string_view column;
  Fault (*fault_of)(const std::string&);
  bool has_priority;
};
constexpr TextKey kExpression = {"expression", &FaultOfExpression, true};
constexpr TextKey kOptions = {"options", &FaultOfOptions, false};

Fault ReadPriority(const std::string& text, std::optional<unsigned>& priority) {
  if (text.empty()) return {};
  priority = Number(text);
  if (priority && *priority <= kMaxPriority) return {};
  return "priority " + Quoted(text) + " is not 0 to " + std::to_string(kMaxPriority);
}

Fault FaultOf(const TextRule& rule, const TextKey& key) {
  Fault fault = key.fault_of(rule.text);
  return fault.empty() ? FaultOf(rule.device) : fault;
}

Fault SetPrefix(std::string_view address, std::string_view mask, MacRule& rule) {
  Fault fault = ReadPrefix(address, mask, rule.prefix);
  return fault.empty() ? FaultOf(rule.device) : fault;
}

struct NamedField {
  std::string_view column;
  std::string_view text;
};

/// What a reader of rows has checked of each field.
Fault FaultOfFields(std::initializer_list<NamedField> key, const DeviceText& device) {
  std::vector<NamedField> fields = key;
  fields.insert(fields.end(), {{"name", device.name},
                               {"vendor", device.vendor},
                               {"category", device.category},
                               {"os", device.os}});
  for (const NamedField& field : fields) {
    if (const char* const fault = FaultOfField(field.text))
      return std::string{field.column} + fault;
  }
  return {};
}

Fault MakeTextRule(const TextKey& key, const std::string& text, const DeviceText& device,
                   TextRule& rule) {
  TextRule made{text, device, {}, {}};
  Fault fault = FaultOfFields({{key.column, text}}, device);
  if (fault.empty()) fault = FaultOf(made, key);
  if (fault.empty()) rule = std::move(made);
  return fault;
}

std::vector<TextRule> ReadTextRules(const File& file, const TextKey& key,
                                    Diagnostics& diagnostics) {
  std::vector<TextRule> rules;
  const auto take = [&](Row&& row) {
    auto& f = row.fields;
    TextRule rule{std::move(f[0]),
                  {std::move(f[1]), std::move(f[2]), std::move(f[3]), std::move(f[4])},
                  std::move(f[5]),
                  row.place};
    Fault fault = FaultOf(rule, key);
    if (fault.empty() && key.has_priority) fault = ReadPriority(f[6], rule.priority);
    if (!fault.empty()) return diagnostics.Report(Problem::kRow, row.place, std::move(fault));
    rules.push_back(std::move(rule));
  };
  const Column column = {key.column, Column::kKey};
  if (key.has_priority) {
    ReadRows(file, {column, {"name"}, {"vendor"}, {"category"}, {"os"}, {"example"}, {"priority"}},
             Others::kUnknown, diagnostics, take);
  } else {
    ReadRows(file, {column, {"name"}, {"vendor"}, {"category"}, {"os"}, {"example"}},
             Others::kUnknown, diagnostics, take);
  }
  return rules;
}

std::string ModuleVendor(std::string_view vendor, ModuleMakers modules) {
  if (modules == ModuleMakers::kOpen) return {};
  const char* const mark = modules == ModuleMakers::kMarked ? "module made by " : "";
  return mark + std::string{vendor};
}

}  // namespace

Fault FaultOf(const DeviceText& device) {
  Fault fault = TooLong("name", device.name, BYOD_DEVNAME_SIZE);
  if (fault.empty()) fault = TooLong("vendor", device.vendor, BYOD_ATTR_SIZE);
  if (fault.empty()) fault = TooLong("category", device.category, BYOD_ATTR_SIZE);
  if (fault.empty()) fault = TooLong("os", device.os, BYOD_ATTR_SIZE);
  return fault;
}

std::vector<MacRule> ReadMacRules(const File& file, Diagnostics& diagnostics) {
  std::vector<MacRule> rules;
  ReadRows(
      file,
      {{"mac", Column::kKey}, {"mask"}, {"name"}, {"vendor"}, {"category"}, {"os"}, {"example"}},
      Others::kUnknown, diagnostics, [&](Row&& row) {
        auto& f = row.fields;
        MacRule rule{{},
                     {std::move(f[2]), std::move(f[3]), std::move(f[4]), std::move(f[5])},
                     std::move(f[6]),
                     row.place};
        Fault fault = SetPrefix(f[0], f[1], rule);
        if (!fault.empty()) return diagnostics.Report(Problem::kRow, row.place, std::move(fault));
        rules.push_back(std::move(rule));
      });
  return rules;
}

std::vector<TextRule> ReadUserAgentRules(const File& file, Diagnostics& diagnostics) {
  return ReadTextRules(file, kExpression, diagnostics);
}

std::vector<TextRule> ReadDhcpOptionRules(const File& file, Diagnostics& diagnostics) {
  return ReadTextRules(file, kOptions, diagnostics);
}

std::string MakeMacRule(const std::string& address, const std::string& mask,
                        const DeviceText& device, MacRule& rule) {
  MacRule made{{}, device, {}, {}};
  Fault fault = FaultOfFields({{"mac", address}, {"mask", mask}}, device);
  if (fault.empty()) fault = SetPrefix(address, mask, made);
  if (fault.empty()) rule = std::move(made);
  return fault;
}

std::string MakeUserAgentRule(const std::string& expression, const DeviceText& device,
                              TextRule& rule) {
  return MakeTextRule(kExpression, expression, device, rule);
}

std::string MakeDhcpOptionRule(const std::string& options, const DeviceText& device,
                               TextRule& rule) {
  return MakeTextRule(kOptions, options, device, rule);
}

VendorAliases ReadVendorAliases(const File& file, Diagnostics& diagnostics, ModuleMakers modules) {
  VendorAliases aliases;
  ReadRows(
      file, {{"organisation", Column::kKey}, {"vendor", Column::kKey}, {"module"}},
      Others::kUnknown, diagnostics, [&](Row&& row) {
        const std::string_view organisation = Trimmed(row.fields[0]);
        const std::string_view vendor = Trimmed(row.fields[1]);
        const std::string_view module = Trimmed(row.fields[2]);
        const std::string reported =
            module == "yes" ? ModuleVendor(vendor, modules) : std::string{vendor};
        Fault fault = TooLong("vendor", reported, BYOD_ATTR_SIZE);
        if (module != "yes" && !module.empty()) fault = "module is neither yes nor empty";
        if (organisation.empty()) fault = "organisation is empty";
        if (vendor.empty()) fault = "vendor is empty";
        if (fault.empty() && !aliases.try_emplace(std::string{organisation}, reported).second) {
          fault = "organisation " + Quoted(organisation) + " stands twice";
        }
        if (!fault.empty()) diagnostics.Report(Problem::kRow, row.place, std::move(fault));
      });
  return aliases;
}

}  // namespace byod::rulefiles
