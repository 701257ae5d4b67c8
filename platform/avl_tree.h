// SPDX-License-Identifier: Apache-2.0
/* The host's AVL tree library. Nodes are the caller's records; the tree keeps pointers to them and never frees them. */
#ifndef PLATFORM_AVL_TREE_H
#define PLATFORM_AVL_TREE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* An empty tree ordered by `compare` (negative, zero, positive); `flags` is 0. Null when memory is short: flows follow
 * no port channel then. */
void *avl_create(int32_t (*compare)(const void *, const void *), uint32_t flags);

/* The node that compares equal to `probe`, or null. */
void *avl_find(void *tree, const void *probe);

/* Inserts `node`; a node that is already in the tree stays in it unchanged. Returns the node, or null when it could
 * not be inserted. */
void *avl_insert(void *tree, void *node);

/* Takes `node` out of the tree. Returns the node, or null when the tree does not hold it. */
void *avl_delete(void *tree, void *node);

#ifdef __cplusplus
}
#endif

#endif
