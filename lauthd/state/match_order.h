// SPDX-License-Identifier: Apache-2.0
// The order in which User-Agent rules of one length are tried.
//
// Longer expressions are tried first. Among those of one length the library's order depends on the
// history of the table, and that must not decide: a restart, a reload or an aborted bulk has
// another history and would give other answers. So the daemon arranges the rules of one length in
// an order that depends on the rules alone: the administrator's first, by byte order of their
// expressions, then the predefined ones in the order that loading the rule files gave them.
#ifndef LAUTHD_STATE_MATCH_ORDER_H
#define LAUTHD_STATE_MATCH_ORDER_H

#include "byod_data.h"

namespace byod::lauthd {

/**
 * Arranges the rules of every length.
 *
 * @return false without memory; lengths that could not be arranged are as they were
 */
bool ArrangeMatchList();

/**
 * Arranges the rules of one length, of which one is new and the others are in order. The library
 * moves the rule, for which it needs no memory; with one that cannot, others are added again.
 *
 * @return false without memory; nothing has changed then. Otherwise rules of this length may have
 *         moved: find them again by their expressions
 */
bool ArrangeMatchList(ByodUserAgentRule& added);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_MATCH_ORDER_H
