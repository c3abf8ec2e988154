// Which byte sequences nearly every browser sends.
#ifndef BYOD_DATA_COMMON_GRAMS_H
#define BYOD_DATA_COMMON_GRAMS_H

#include <cstddef>

namespace byod::data {

/// Whether all pieces of a text, of four bytes or of as many as it has, occur in what most
/// User-Agents have in common, or, now and then, only seem to. A term is better looked for by other
/// bytes. @param length  above 0
bool IsCommon(const char* text, size_t length);

}  // namespace byod::data

#endif  // BYOD_DATA_COMMON_GRAMS_H
