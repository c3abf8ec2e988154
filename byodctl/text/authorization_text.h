// SPDX-License-Identifier: Apache-2.0
// The text and JSON of authorization sets.
#ifndef BYODCTL_TEXT_AUTHORIZATION_TEXT_H
#define BYODCTL_TEXT_AUTHORIZATION_TEXT_H

#include <optional>
#include <string>

#include "byodctl/text/answer.h"
#include "byodctl/text/json.h"

namespace byod::ctl {

/// "vlan=20 acl=guest"; empty without a set.
std::string AuthorizationText(const std::optional<AuthorizationSet>& set);

/// {"vlan": "20", "av-pair": ["a", "b"]}
Json AttributesJson(const AuthorizationSet& set);

/// {"group": "staff", "type": "Mobile", "attributes": {"vlan": "20", "av-pair": ["a", "b"]}}
Json AuthorizationJson(const AuthorizationSet& set);

}  // namespace byod::ctl

#endif  // BYODCTL_TEXT_AUTHORIZATION_TEXT_H
