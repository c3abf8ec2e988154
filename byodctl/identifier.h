// Who answers what a terminal is.
#ifndef BYODCTL_IDENTIFIER_H
#define BYODCTL_IDENTIFIER_H

#include <optional>
#include <string>

#include "byod_data.h"
#include "explain/explain.h"

namespace byod::ctl {

struct Explanation {
  explain::AttributeSearch attributes;
  explain::NameSearch name;
};

/// Empty texts are unknown.
struct Answer {
  std::string vendor;
  std::string category;
  std::string os;
  std::string name;
  std::optional<Explanation> explanation;

  bool IsUnknown() const {
    return vendor.empty() && category.empty() && os.empty() && name.empty();
  }
};

class Identifier {
 public:
  virtual ~Identifier() = default;
  virtual Answer Identify(const ByodFingerPrint& fingerprint) = 0;
};

}  // namespace byod::ctl

#endif  // BYODCTL_IDENTIFIER_H
