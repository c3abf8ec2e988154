// The categories that rules answer.
#ifndef LAUTHD_CATEGORY_REQUESTS_H
#define LAUTHD_CATEGORY_REQUESTS_H

#include "lauthd/exchange.h"

namespace byod::lauthd {

Result ListCategories(Exchange& exchange);

}  // namespace byod::lauthd

#endif  // LAUTHD_CATEGORY_REQUESTS_H
