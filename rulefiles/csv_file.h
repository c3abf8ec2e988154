// SPDX-License-Identifier: Apache-2.0
// Comma-separated files whose first record names the columns.
//
// Quoting is that of RFC 4180: a field that begins with a double quote reaches to the closing one,
// commas and line ends included, and "" inside it is one double quote. Blanks belong to a field. A
// line that begins with '#', outside of a quoted field, is a comment; blank lines are skipped.
// Lines end with LF, CRLF or CR. A byte order mark in front is skipped.
//
// A record with a misplaced quote, one that never ends, and one above 64 KiB are reported and left
// out, and reading goes on behind the line where the record began.
#ifndef BYOD_RULEFILES_CSV_FILE_H
#define BYOD_RULEFILES_CSV_FILE_H

#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rulefiles/diagnostics.h"

namespace byod::rulefiles {

/// A whole file in memory, with the name that reports call it by.
struct File {
  std::string name;
  std::string content;
};

/// What becomes of a FIFO, which may keep its reader waiting.
enum class Pipes { kRefused, kRead };

/// Reads a regular file. @return nothing after a report that says why it cannot be read
std::optional<File> ReadFile(const std::string& path, Diagnostics& diagnostics,
                             Pipes pipes = Pipes::kRefused);

/// Whether a file can be left out without a word: nothing of this name is there.
bool IsAbsent(const std::string& path);

/// A column that the reader asks for.
struct Column {
  enum Need { kKey, kOptional };

  std::string_view name;
  /// Without a key column no row can be used. Where an optional one is missing its fields are
  /// empty.
  Need need = kOptional;
};

/// @return why a field cannot be used, to follow the name of its column; null = it can
const char* FaultOfField(std::string_view field);

/// What other columns of a file are.
enum class Others {
  kExpected,  ///< the file has another form, of which only a part is read
  kUnknown    ///< probably misspelt: each is reported, with the column that is nearest
};

/// The fields of one row in the order in which the columns were asked for, valid UTF-8 without NUL.
struct Row {
  Place place;
  std::vector<std::string> fields;
};

/**
 * Reads the requested columns of a file, in any order; other columns are skipped.
 *
 * A row with more or fewer fields than the header, and one with a field asked for that is not UTF-8
 * or holds a NUL, is reported and left out.
 */
void ReadRows(const File& file, std::initializer_list<Column> columns, Others others,
              Diagnostics& diagnostics, const std::function<void(Row&&)>& take);

}  // namespace byod::rulefiles

#endif  // BYOD_RULEFILES_CSV_FILE_H
