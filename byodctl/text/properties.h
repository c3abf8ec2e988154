// SPDX-License-Identifier: Apache-2.0
// The properties of one thing, each stated once and written as a table or as an object of JSON.
#ifndef BYODCTL_TEXT_PROPERTIES_H
#define BYODCTL_TEXT_PROPERTIES_H

#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "byodctl/text/json.h"
#include "byodctl/text/output_form.h"
#include "byodctl/text/table.h"

namespace byod::ctl {

class Properties {
 public:
  /// @param heading  of the two columns of a table; empty = none
  explicit Properties(OutputForm form, std::vector<std::string> heading = {})
      : form_(form), table_(std::move(heading)) {}

  /// A number, or a text that may come from outside.
  void Add(const char* key, const std::string& label, Json value) {
    const std::string text = value.ToPlainText().value_or("");
    Add(key, label, std::move(value), text);
  }
  /// @param text  what people read instead of the value
  void Add(const char* key, const std::string& label, Json value, const std::string& text,
           Emphasis emphasis = Emphasis::kNone) {
    AddForPrograms(key, std::move(value));
    AddForPeople(label, text, emphasis);
  }
  void AddForPrograms(const char* key, Json value) { object_.Set(key, std::move(value)); }
  void AddForPeople(const std::string& label, const std::string& text,
                    Emphasis emphasis = Emphasis::kNone) {
    table_.Add({label, Cell(text)}, emphasis);
  }

  /// To standard output.
  void Write() const {
    if (form_ == OutputForm::kJson) return WriteJsonLine(object_);
    table_.Write(std::cout);
  }

 private:
  OutputForm form_;
  Json object_ = Json::EmptyObject();
  Table table_;
};

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_PROPERTIES_H
