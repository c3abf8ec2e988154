// SPDX-License-Identifier: Apache-2.0
#include "byodctl/text/answer_item.h"

namespace byod::ctl {

void AddAnswer(Item& item, const FingerprintText& text, const Answer& answer, bool is_identified,
               bool is_locally_administered) {
  item.insert(item.end(), {{"options", text.options},
                           {"user_agent", text.user_agent},
                           {"vendor", answer.vendor},
                           {"category", answer.category},
                           {"os", answer.os},
                           {"name", answer.name},
                           {"identified", is_identified},
                           {"locally_administered", is_locally_administered}});
}

}  // namespace byod::ctl
