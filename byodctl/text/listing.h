// SPDX-License-Identifier: Apache-2.0
// A list of items, each stated once and written as a table, tab-separated lines or JSON.
#ifndef BYODCTL_TEXT_LISTING_H
#define BYODCTL_TEXT_LISTING_H

#include <iostream>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "byodctl/text/json.h"
#include "byodctl/text/output_form.h"
#include "byodctl/text/table.h"

namespace byod::ctl {

/// One fact about an item.
struct Field {
  std::string_view key;
  Json value;
  /// What people read instead of the value; by default a number or a text is shown unchanged.
  std::optional<std::string> text = {};
};

/// In the order of the keys in JSON.
using Item = std::vector<Field>;

/// The field with this key; a field without a value if there is none.
const Field& FieldOf(const Item& item, std::string_view key);

Json JsonOf(const Item& item);

/// A field that tables and tab-separated lines show.
struct Column {
  const char* heading;  ///< of a table; tab-separated lines have the key
  const char* key;
};

class Listing {
 public:
  /// @param out  borrowed
  Listing(OutputForm form, std::vector<Column> columns, std::ostream& out = std::cout);

  /// @param emphasis  of the row in a table
  void Add(const Item& item, Emphasis emphasis = Emphasis::kNone);

  /// To be called after the last item. @param note  printed below a table
  void Finish(const std::string& note = "");

 private:
  void AddLine(const Item& item);

  OutputForm form_;
  std::vector<Column> columns_;
  std::ostream& out_;
  Table table_;
};

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_LISTING_H
