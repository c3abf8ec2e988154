// SPDX-License-Identifier: Apache-2.0
#include "lauth_debug.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <optional>
#include <string_view>

#include "net/mac_address.h"

namespace {

void WriteLine(void* /*context*/, uint32_t /*level*/, const char* text) {
  char newline = '\n';
  iovec parts[] = {{const_cast<char*>(text), std::strlen(text)}, {&newline, 1}};
  // One system call, so that lines of several threads do not mix. A failure cannot be
  // reported anywhere.
  [[maybe_unused]] const ssize_t written = writev(STDERR_FILENO, parts, 2);
}

struct Destination {
  LAUTH_dbg_Sink sink = WriteLine;
  void* context = nullptr;
};

std::atomic<uint32_t> highest_level{0};
std::mutex destination_lock;
Destination destination;

// The text of one message as it grows, cut at its end.
class Line {
 public:
  void Add(const char* bytes, size_t count) {
    count = std::min(count, sizeof text_ - 1 - length_);
    std::memcpy(text_ + length_, bytes, count);
    length_ += count;
  }

  // A piece whose conversion is known only at run time and has just been checked.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  template <typename T>
  void AddFormatted(const char* conversion, T value) {
    const int wanted = std::snprintf(text_ + length_, sizeof text_ - length_, conversion, value);
    if (wanted > 0) length_ = std::min(length_ + static_cast<size_t>(wanted), sizeof text_ - 1);
  }
#pragma GCC diagnostic pop

  const char* Finish() {
    if (length_ > 0 && text_[length_ - 1] == '\n') --length_;
    text_[length_] = '\0';
    return text_;
  }

 private:
  char text_[LAUTH_DBG_TEXT_MAX + 1];
  size_t length_ = 0;
};

enum class Size { kChar, kShort, kInt, kLong, kLongLong, kMax, kSize, kDifference, kLongDouble };

// One conversion, cut out of a format: %[flags][width][.precision][size]kind.
struct Conversion {
  char flags[6];
  std::optional<int> width;
  std::optional<int> precision;
  Size size;
  std::string_view size_text;
  char kind;

  // Writes the same conversion for snprintf, or that of another kind without the size.
  void Spell(char* out, size_t room) const { Spell(out, room, kind, size_text); }
  void Spell(char* out, size_t room, char as_kind, std::string_view as_size = "") const {
    char numbers[32];
    size_t length = 0;
    if (width) length += static_cast<size_t>(std::snprintf(numbers, 16, "%d", *width));
    if (precision) std::snprintf(numbers + length, 16, ".%d", *precision);
    if (!width && !precision) numbers[0] = '\0';
    std::snprintf(out, room, "%%%s%s%.*s%c", flags, numbers, static_cast<int>(as_size.size()),
                  as_size.data(), as_kind);
  }
};

class Formatter {
 public:
  Formatter(Line& line, va_list arguments) : line_(line) { va_copy(arguments_, arguments); }
  ~Formatter() { va_end(arguments_); }
  Formatter(const Formatter&) = delete;
  Formatter& operator=(const Formatter&) = delete;

  void Format(const char* at) {
    while (*at != '\0') {
      const size_t literal = std::strcspn(at, "%");
      line_.Add(at, literal);
      at += literal;
      if (*at != '%') break;
      const char* begin = at++;
      Conversion conversion{};
      at = Parse(at, conversion);
      if (conversion.kind != '\0') ++at;
      if (!Convert(conversion)) line_.Add(begin, static_cast<size_t>(at - begin));
    }
  }

 private:
  // Reads up to the kind and returns where it stands.
  const char* Parse(const char* at, Conversion& out) {
    size_t flags = 0;
    for (; *at != '\0' && std::strchr("-+ #0", *at) != nullptr; ++at) {
      // A repeated flag means nothing new.
      if (std::strchr(out.flags, *at) == nullptr) out.flags[flags++] = *at;
    }
    out.width = Number(at);
    if (out.width && *out.width < 0) {  // a negative width argument: to the left
      out.width = -*out.width;
      if (std::strchr(out.flags, '-') == nullptr) out.flags[flags++] = '-';
    }
    if (*at == '.') {
      ++at;
      out.precision = Number(at).value_or(0);
      if (*out.precision < 0) out.precision.reset();
    }
    const char* size = at;
    out.size = ParseSize(at);
    out.size_text = {size, static_cast<size_t>(at - size)};
    out.kind = *at;
    return at;
  }

  // A number in the format or, for a star, out of the arguments. No field is wider than the line.
  std::optional<int> Number(const char*& at) {
    if (*at == '*') {
      ++at;
      return std::clamp(va_arg(arguments_, int), -LAUTH_DBG_TEXT_MAX, LAUTH_DBG_TEXT_MAX);
    }
    if (*at < '0' || *at > '9') return std::nullopt;
    int number = 0;
    for (; *at >= '0' && *at <= '9'; ++at) {
      number = std::min(number * 10 + (*at - '0'), LAUTH_DBG_TEXT_MAX);
    }
    return number;
  }

  static Size ParseSize(const char*& at) {
    switch (*at) {
      case 'h':
        if (*++at != 'h') return Size::kShort;
        ++at;
        return Size::kChar;
      case 'l':
        if (*++at != 'l') return Size::kLong;
        ++at;
        return Size::kLongLong;
      case 'j':
        return ++at, Size::kMax;
      case 'z':
        return ++at, Size::kSize;
      case 't':
        return ++at, Size::kDifference;
      case 'L':
        return ++at, Size::kLongDouble;
      default:
        return Size::kInt;
    }
  }

  // False when the conversion is unknown, and then no argument was taken, but for %n and %ls.
  bool Convert(const Conversion& conversion) {
    char own[64];
    switch (conversion.kind) {
      case '%':
        line_.Add("%", 1);
        return true;
      case 'd':
      case 'i':
        conversion.Spell(own, sizeof own);
        return ConvertSigned(conversion.size, own);
      case 'u':
      case 'x':
      case 'X':
      case 'o':
        conversion.Spell(own, sizeof own);
        return ConvertUnsigned(conversion.size, own);
      case 'e':
      case 'E':
      case 'f':
      case 'F':
      case 'g':
      case 'G':
      case 'a':
      case 'A':
        conversion.Spell(own, sizeof own);
        if (conversion.size == Size::kLongDouble) {
          line_.AddFormatted(own, va_arg(arguments_, long double));
        } else {
          line_.AddFormatted(own, va_arg(arguments_, double));
        }
        return true;
      case 'c':
        if (conversion.size != Size::kInt) return Skip(va_arg(arguments_, int));
        conversion.Spell(own, sizeof own, 'c');
        line_.AddFormatted(own, va_arg(arguments_, int));
        return true;
      case 's':
        if (conversion.size != Size::kInt) return Skip(va_arg(arguments_, const void*));
        AddText(conversion, va_arg(arguments_, const char*));
        return true;
      case 'M':
        AddMac(conversion, va_arg(arguments_, const uint8_t*));
        return true;
      case 'p':
        conversion.Spell(own, sizeof own, 'p');
        line_.AddFormatted(own, va_arg(arguments_, const void*));
        return true;
      case 'n':
        return Skip(va_arg(arguments_, const void*));
      default:
        return false;
    }
  }

  template <typename T>
  static bool Skip(T /*argument*/) {
    return false;
  }

  bool ConvertSigned(Size size, const char* own) {
    switch (size) {
      case Size::kChar:
      case Size::kShort:
      case Size::kInt:
        line_.AddFormatted(own, va_arg(arguments_, int));
        return true;
      case Size::kLong:
        line_.AddFormatted(own, va_arg(arguments_, long));
        return true;
      case Size::kLongLong:
        line_.AddFormatted(own, va_arg(arguments_, long long));
        return true;
      case Size::kMax:
        line_.AddFormatted(own, va_arg(arguments_, intmax_t));
        return true;
      case Size::kSize:
        line_.AddFormatted(own, va_arg(arguments_, ssize_t));
        return true;
      case Size::kDifference:
        line_.AddFormatted(own, va_arg(arguments_, ptrdiff_t));
        return true;
      default:
        return false;
    }
  }

  bool ConvertUnsigned(Size size, const char* own) {
    switch (size) {
      case Size::kChar:
      case Size::kShort:
      case Size::kInt:
        line_.AddFormatted(own, va_arg(arguments_, unsigned));
        return true;
      case Size::kLong:
        line_.AddFormatted(own, va_arg(arguments_, unsigned long));
        return true;
      case Size::kLongLong:
        line_.AddFormatted(own, va_arg(arguments_, unsigned long long));
        return true;
      case Size::kMax:
        line_.AddFormatted(own, va_arg(arguments_, uintmax_t));
        return true;
      case Size::kSize:
        line_.AddFormatted(own, va_arg(arguments_, size_t));
        return true;
      case Size::kDifference:
        line_.AddFormatted(own, va_arg(arguments_, ptrdiff_t));
        return true;
      default:
        return false;
    }
  }

  void AddText(const Conversion& conversion, const char* text) {
    char own[64];
    conversion.Spell(own, sizeof own, 's');
    line_.AddFormatted(own, text != nullptr ? text : "(null)");
  }

  void AddMac(const Conversion& conversion, const uint8_t* mac) {
    if (mac == nullptr) return AddText(conversion, nullptr);
    char text[byod::net::kColons.Length() + 1];
    byod::net::WriteMac<byod::net::kColons>(text, mac);
    AddText(conversion, text);
  }

  Line& line_;
  va_list arguments_;
};

}  // namespace

void LAUTH_dbg_PrintDbgInfo(uint32_t level, const char* format, ...) {
  const uint32_t highest = highest_level.load(std::memory_order_relaxed);
  if (level > highest || highest == 0 || format == nullptr) return;

  const int saved_errno = errno;
  Line line;
  va_list arguments;
  va_start(arguments, format);
  Formatter(line, arguments).Format(format);
  va_end(arguments);

  Destination to;
  {
    const std::lock_guard guard(destination_lock);
    to = destination;
  }
  to.sink(to.context, level, line.Finish());
  errno = saved_errno;
}

void LAUTH_dbg_SetLevel(uint32_t level) {
  highest_level.store(level, std::memory_order_relaxed);
}

uint32_t LAUTH_dbg_GetLevel() {
  return highest_level.load(std::memory_order_relaxed);
}

void LAUTH_dbg_SetSink(LAUTH_dbg_Sink sink, void* context) {
  const std::lock_guard guard(destination_lock);
  destination = sink != nullptr ? Destination{sink, context} : Destination{};
}
