// SPDX-License-Identifier: Apache-2.0
// Parses User-Agent expressions as the matching does: alternatives between runs of '|',
// terms between runs of '&'.
#ifndef BYOD_LINT_EXPRESSION_H
#define BYOD_LINT_EXPRESSION_H

#include <string>
#include <string_view>
#include <vector>

namespace byod::lint {

/// The terms of an alternative, views into its expression. None = it matches every User-Agent.
using Terms = std::vector<std::string_view>;

/// @return the alternatives; one without terms for an expression that has none
std::vector<Terms> AlternativesOf(std::string_view expression);

/// Whether a User-Agent with all terms of `narrow` surely has all terms of `wide`: each term of
/// `wide` is a part of a term of `narrow`.
bool Implies(const Terms& narrow, const Terms& wide);

/// "a&&b"
std::string ToString(const Terms& terms);

/// The normal form of an expression with these alternatives: "a&&b||c".
std::string ToString(const std::vector<Terms>& alternatives);

}  // namespace byod::lint

#endif  // BYOD_LINT_EXPRESSION_H
