// Which byte sequences nearly every browser sends.
#ifndef BYOD_DATA_COMMON_GRAMS_H
#define BYOD_DATA_COMMON_GRAMS_H

#include "data/gram_table.h"

namespace byod::data {

/// Whether a gram of two or four bytes occurs in what most User-Agents have in common, or, now and
/// then, only seems to. A term is better looked for by other bytes.
bool IsCommon(Gram gram);

}  // namespace byod::data

#endif  // BYOD_DATA_COMMON_GRAMS_H
