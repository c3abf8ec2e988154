// SPDX-License-Identifier: Apache-2.0
#include "byodctl/text/event_text.h"

#include <iostream>

#include "byodctl/text/display_text.h"

namespace byod::ctl {
namespace {

std::string TextOf(const Item& event, const char* key) {
  return FieldOf(event, key).value.ToPlainText().value_or("");
}

std::string ForPeople(const std::string& what, const Item& event) {
  std::string line = TextOf(event, "time") + ' ' + what;
  const auto put = [&](const char* key, const char* name) {
    const std::string value = TextOf(event, key);
    if (!value.empty()) line += ' ' + std::string{name} + '=' + Quoted(Printable(value));
  };
  put("mac", "mac");
  if (FieldOf(event, "locally_administered").value.IsTrue()) line += " (locally administered)";
  put("address", "address");
  put("options", "options");
  put("user_agent", "user-agent");
  put("host_name", "host-name");
  put("vendor_class", "vendor-class");
  line += FieldOf(event, "identified").value.IsTrue() ? " ->" : " -> unknown";
  for (const char* const key : {"vendor", "category", "os", "name"})
    put(key, key);
  const std::string filled = FieldOf(event, "filled").text.value_or("");
  if (!filled.empty()) line += " evidence=" + Quoted(filled);
  return line;
}

}  // namespace

void WriteEvent(OutputForm form, const std::string& what, const Item& event) {
  if (form == OutputForm::kJson) return WriteJsonLine(JsonOf(event));
  std::cout << ForPeople(what, event) << '\n';
}

}  // namespace byod::ctl
