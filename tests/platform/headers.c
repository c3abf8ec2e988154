// SPDX-License-Identifier: Apache-2.0
/* Compiles every header of the support library as C99, each of them first. */
#include "lauth_avl.h"
#include "lauth_debug.h"
#include "lauth_hash.h"
#include "lauth_text.h"
#include "lauth_tlv.h"
#include "lauth_tlv_stream.h"

/* An array of negative size where a layout is not as promised. */
typedef char NodeIsThreeWords[sizeof(AVL_Node) == 3 * sizeof(void*) ? 1 : -1];
typedef char LinkIsTwoWords[sizeof(HASH_Link) == 2 * sizeof(void*) ? 1 : -1];
