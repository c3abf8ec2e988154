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
  /// What people read in place of the value; a number or a text is read as it is.
  std::optional<std::string> text = {};
};

/// In the order of the keys in JSON.
using Item = std::vector<Field>;

/// A field of an item; one without a value if it has none of this key.
const Field& FieldOf(const Item& item, std::string_view key);

Json JsonOf(const Item& item);

/// The fields that tables show, and tab-separated lines have.
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

  /// After the last item. @param note  stands below a table
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
