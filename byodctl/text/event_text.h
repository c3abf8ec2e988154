// Events as they happen: a line each, for people or programs.
#ifndef BYODCTL_TEXT_EVENT_TEXT_H
#define BYODCTL_TEXT_EVENT_TEXT_H

#include <string>

#include "byodctl/text/listing.h"

namespace byod::ctl {

/**
 * Writes one identification to standard output.
 *
 * For people: `TIME WHAT mac="..." -> vendor="..."`, without what is empty. Nothing is aligned, as
 * the next line is not known.
 *
 * @param what   what asked for it, or saw it
 * @param event  its time and the fields of AddAnswer
 */
void WriteEvent(OutputForm form, const std::string& what, const Item& event);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_EVENT_TEXT_H
