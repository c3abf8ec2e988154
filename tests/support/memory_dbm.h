// SPDX-License-Identifier: Apache-2.0
// A configuration database in memory that keeps account of every call with all its arguments, and
// fails chosen ones. A test program that links it takes the platform's place for the library.
#ifndef TESTS_SUPPORT_MEMORY_DBM_H
#define TESTS_SUPPORT_MEMORY_DBM_H

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace support {

/// One call: its name without prefix, the handle, key and key length as one text, the numbers
/// among the arguments in their order, and the bytes that were handed in.
struct DbmCall {
  std::string name;
  int32_t handle;
  std::string key;
  std::vector<uint32_t> numbers;
  std::string bytes;

  bool operator==(const DbmCall&) const = default;
};

void PrintTo(const DbmCall& call, std::ostream* out);

class MemoryDbm {
 public:
  struct List {
    std::vector<uint32_t> descriptor;
    uint32_t number = 0;
    std::map<std::string, std::string> records;  // by sort key
  };

  /// Empty and closed, with this handle for the opener.
  static void Reset(int32_t handle = 5);

  /// Calls since Reset or TakeCalls.
  static std::vector<DbmCall> TakeCalls();
  static int CallCount();
  static int CallCount(const std::string& name);

  /// Makes the n-th call of this name from now on, from 1, give this result; it does nothing
  /// else. An empty name counts all calls.
  static void Fail(const std::string& name, int n, int32_t result);
  /// The same, but it does what it should.
  static void Pretend(const std::string& name, int n, int32_t result);

  static std::map<std::string, List>& Lists();
  static std::map<std::string, std::string>& Values();

  static int OpenHandles();
  static int OpenIterators();
};

/// A key with its NUL.
inline std::string Key(const std::string& text) {
  return text + '\0';
}

}  // namespace support

#endif  // TESTS_SUPPORT_MEMORY_DBM_H
