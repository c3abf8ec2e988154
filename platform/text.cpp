// SPDX-License-Identifier: Apache-2.0
#include "lauth_text.h"

#include <cstdarg>
#include <cstdio>

char* lowercase(char* text) {
  if (text == nullptr) return text;
  for (char* c = text; *c != '\0'; ++c) {
    if (*c >= 'A' && *c <= 'Z') *c = static_cast<char>(*c - 'A' + 'a');
  }
  return text;
}

int scnprintf(char* out, size_t size, const char* format, ...) {
  if (size == 0) return 0;
  va_list arguments;
  va_start(arguments, format);
  const int wanted = std::vsnprintf(out, size, format, arguments);
  va_end(arguments);
  if (wanted < 0) {
    out[0] = '\0';
    return 0;
  }
  return static_cast<size_t>(wanted) < size ? wanted : static_cast<int>(size - 1);
}
