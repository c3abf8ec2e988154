#include "byodctl/text/answer_json.h"

namespace byod::ctl {

void AddAnswer(Json& object, const FingerprintText& text, const Answer& answer, bool identified,
               bool locally_administered) {
  object["options"] = text.options;
  object["user_agent"] = text.user_agent;
  object["vendor"] = answer.vendor;
  object["category"] = answer.category;
  object["os"] = answer.os;
  object["name"] = answer.name;
  object["identified"] = identified;
  object["locally_administered"] = locally_administered;
}

}  // namespace byod::ctl
