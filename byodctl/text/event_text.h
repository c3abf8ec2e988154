// SPDX-License-Identifier: Apache-2.0
// Events as they happen: a line each, for people or programs.
#ifndef BYODCTL_TEXT_EVENT_TEXT_H
#define BYODCTL_TEXT_EVENT_TEXT_H

#include <string>

#include "byodctl/text/listing.h"

namespace byod::ctl {

/**
 * Writes one identification to standard output.
 *
 * For people: `TIME WHAT mac="..." -> vendor="..."`, without empty fields. Nothing is aligned,
 * since the next line is not known yet.
 *
 * @param what   the question, or "station"
 * @param event  its time and the fields of AddAnswer
 */
void WriteEvent(OutputForm form, const std::string& what, const Item& event);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_EVENT_TEXT_H
