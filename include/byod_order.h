// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * The order in which the identification methods are tried.
 *
 * The process holds one current order, all zero until BYOD_order_Init. Threads: no lock; callers
 * serialise its use together with that of the rule store. No pointer may be NULL.
 */
#ifndef BYOD_ORDER_H
#define BYOD_ORDER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/**
 * Three identification methods (BYOD_METHOD_*), tried first to last. A value of 3 or more ends the
 * sequence, so an order can name fewer than three.
 */
typedef struct ByodOrder {
  uint32_t slots[3];
} ByodOrder;

/** Makes the default order the current one. @return 0 */
uint32_t BYOD_order_Init(void);

/** Makes the default order the current one. */
void BYOD_order_Fini(void);

/** Writes the default order, DHCP, User-Agent, MAC, into order. */
void BYOD_order_SetDefaultOrder(ByodOrder* order);

/** @return 1 if order is the default order in all three slots, else 0 */
uint32_t BYOD_orderIsDefault(const ByodOrder* order);

/**
 * Makes order the current one. The slots are stored as given, unchecked: a method may occur several
 * times, and is tried as often.
 *
 * @return 0, or BYOD_ERR_NOCHANGE (byod_data.h) when all three slots are those of the current order
 */
uint32_t BYOD_order_SetOrder(const ByodOrder* order);

/** Makes the default order the current one. @return 0, also when it already was */
uint32_t BYOD_order_UnSetOrder(void);

/** Copies the current order into order. */
void BYOD_order_GetOrder(ByodOrder* order);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif /* BYOD_ORDER_H */
