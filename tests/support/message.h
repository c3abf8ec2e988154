// SPDX-License-Identifier: Apache-2.0
// Messages as tests write and read them: a list of elements.
#ifndef TESTS_SUPPORT_MESSAGE_H
#define TESTS_SUPPORT_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace support {

/// One element. A number is 4 bytes in network order, as it stands on the wire.
struct Element {
  uint16_t type;
  std::string bytes;

  bool operator==(const Element&) const = default;
};

void PrintTo(const Element& element, std::ostream* out);

Element Number(uint16_t type, uint32_t value);
/// A text and its NUL.
Element Text(uint16_t type, const std::string& text);
Element Bytes(uint16_t type, std::string bytes);
Element Bytes(uint16_t type, const uint8_t (&bytes)[6]);

/// A message that the test owns. The platform's calls that it makes are not counted or failed by
/// PlatformFaults.
class Message {
 public:
  Message() : Message(std::vector<Element>{}) {}
  explicit Message(const std::vector<Element>& elements);
  /// Takes a handle that the library gave.
  static Message Take(uint32_t handle);
  Message(Message&& other) noexcept : handle_(std::exchange(other.handle_, 0)) {}
  Message& operator=(Message&&) = delete;
  ~Message();

  uint32_t get() const { return handle_; }
  std::vector<Element> elements() const;
  /// The memory form.
  std::string serialized() const;

 private:
  struct Adopt {};
  Message(Adopt, uint32_t handle) : handle_(handle) {}

  uint32_t handle_;
};

/// The elements of a message that is another's.
std::vector<Element> ElementsOf(uint32_t handle);

/// The memory form of a message of these elements.
std::string Serialize(const std::vector<Element>& elements);

/// The elements of a message's memory form; fails the test when it is none.
std::vector<Element> Parse(const std::string& bytes);

/// An element that holds a whole message.
Element Nested(uint16_t type, const std::vector<Element>& elements);

}  // namespace support

#endif  // TESTS_SUPPORT_MESSAGE_H
