// A line for what just happened, for people: nothing is aligned, as the next line is not known.
#ifndef BYODCTL_TEXT_EVENT_TEXT_H
#define BYODCTL_TEXT_EVENT_TEXT_H

#include <string>

#include "byodctl/identification/identifier.h"
#include "byodctl/text/fingerprint_text.h"

namespace byod::ctl {

/// One identification.
struct Event {
  std::string time;
  std::string what;  ///< who asked for it, or saw it
  FingerprintText fingerprint;
  std::string address;  ///< IP address; empty = none
  bool is_identified = false;
  Answer answer;
};

/// `TIME WHAT mac="..." -> vendor="..."`; what is empty is left out.
std::string ToString(const Event& event);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_EVENT_TEXT_H
