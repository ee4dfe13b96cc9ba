/* SPDX-License-Identifier: MIT */
/** @file
 * The condition of a node: whether its content may be read or written. Its liveness: whether its owner still refreshes
 * it. And both for the nodes of a whole tree.
 *
 * A node is created (1), initialized (2), active (3), abandoned (4) or disassociated (5). Every operation that reads or
 * writes content makes the check of sntrCheckNodeCondition() itself, and refuses a node that is not active. Times are
 * in milliseconds. The SECTION codes are those of sntr/nodes.h.
 *
 * Thread safety: any thread of any process may call; the block of each function says which latches it takes.
 */
#ifndef SNTR_STATUS_H
#define SNTR_STATUS_H

#include <sntr/export.h>
#include <sntr/types.h>

#ifdef __cplusplus
extern "C" {
#endif

/** @{ */
/** Liveness modes: by a counter of refreshes, by the time of the last one. */
#define SNTR_LIVENESS_COUNTER UINT32_C(1)
#define SNTR_LIVENESS_TIME UINT32_C(2)
/** @} */

/** @name Actions on the nodes of a tree
 * Each does to a node what the function named does. */
/** @{ */
#define SNTR_ACTION_ACTIVATE UINT32_C(3)     /**< sntrActivateNode() */
#define SNTR_ACTION_ABANDON UINT32_C(4)      /**< sntrAbandonNode() */
#define SNTR_ACTION_DISASSOCIATE UINT32_C(5) /**< sntrDisassociateNode() */
#define SNTR_ACTION_DISCLAIM UINT32_C(6)     /**< sntrDisclaimNode(): frees the node's block */
#define SNTR_ACTION_REFRESH UINT32_C(7)      /**< sntrUpdateNodeStatus() */
/** @} */

/** @name Bits of a mask that selects nodes by their condition
 * Bit n selects condition n. These bits have a further meaning. */
/** @{ */
#define SNTR_MASK_EVERY_NODE UINT32_C(0x1)     /**< actions 3 to 6: selects nodes of every condition */
#define SNTR_MASK_EVERY_REFRESH UINT32_C(0x8)  /**< action 7: selects nodes of every condition */
#define SNTR_MASK_NODE_ALONE UINT32_C(0x40)    /**< with `reserved` not 0: dependents are left alone */
#define SNTR_MASK_PARENTS_ENTRY UINT32_C(0x80) /**< action 6: the parent's entry of a freed top node goes too */
/** @} */

/** Most levels that a tree operation can be limited to, and most that it goes down without a limit. */
#define SNTR_MAX_TREE_LEVELS UINT64_C(0x8000)

/** Private. What an observer keeps of its last look at a node: 288 bytes, aligned to 8. The caller zeroes it, sets the
 * mode, and keeps one record for each node that it observes. */
typedef struct SNodeObserver {
  uint32_t reserved0[2];  /**< not used */
  uint32_t livenessMode;  /**< `SNTR_LIVENESS_*` */
  uint32_t reserved1[3];  /**< not used */
  uint64_t lookTime;      /**< milliseconds since 1970 UTC, of the last look that found the node live; mode by time */
  uint8_t reserved2[128]; /**< not used */
  OSSVAtomicSigned32 lookCounter; /**< refreshes of the node at the last such look; mode by counter */
} SNodeObserver;

/** Returns a node's condition. Takes no latch: between two sections the result may be old at once.
 * - `node`: the node
 * - `condition`: receives `SNTR_CONDITION_*`, or whatever is stored
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `node` is null; nothing is written
 * - SNTR_RC_NULL_OUTPUT: `condition` is null
 * - SNTR_RC_CONDITION_OUT_OF_RANGE: the stored condition is not 1 to 5; it is written all the same */
SNTR_API uint32_t sntrGetNodeCondition(const SNodeCB_t *node, uint32_t *condition);

/** Checks that a node may be read. Takes no latch, like sntrGetNodeCondition().
 * - `node`: the node
 * - `mask`: bit n is about condition n. Only bit 1 has an effect: with it a node that is only created passes. Whatever
 *   the mask, an active node passes, and one that is initialized, abandoned or disassociated does not
 *
 * Returns 0: it may be read. Otherwise, all but the first being the CONDITION codes that other functions name:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NODE_NOT_INITIALIZED: created, and the mask does not have bit 1 (0x2)
 * - SNTR_RC_NODE_ONLY_INITIALIZED: initialized
 * - SNTR_RC_NODE_ABANDONED: abandoned
 * - SNTR_RC_NODE_DISASSOCIATED: disassociated
 * - SNTR_RC_CONDITION_OUT_OF_RANGE: the stored condition is not 1 to 5 */
SNTR_API uint32_t sntrCheckNodeCondition(const SNodeCB_t *node, uint32_t mask);

/** Refreshes the liveness of an active node; its owner does so at least once every `updateInterval`. Status mode 1
 * counts one refresh more, mode 2 stores the time. Runs in a write section of the node.
 *
 * Returns 0. Otherwise nothing is changed, the last two of the SECTION codes aside:
 * - SNTR_RC_NULL_NODE: the node is null
 * - SECTION codes
 * - SNTR_RC_UPDATE_OF_CREATED: the node is only created
 * - SNTR_RC_UPDATE_OF_INITIALIZED: it is only initialized
 * - SNTR_RC_UPDATE_OF_ABANDONED: it is abandoned
 * - SNTR_RC_UPDATE_OF_DISASSOCIATED: it is disassociated
 * - SNTR_RC_CONDITION_OUT_OF_RANGE: the stored condition is not 1 to 5
 * - SNTR_RC_BAD_LIVENESS_MODE: the stored status mode is neither 1 nor 2
 * - SNTR_RC_ATOMIC_FAILED: the counter could not be changed */
SNTR_API uint32_t sntrUpdateNodeStatus(SNodeCB_t *node);

/** Checks that the owner still refreshes a node. The observer's mode decides how, and should be the node's status mode:
 *
 * | Mode | The node is live if |
 * |---|---|
 * | SNTR_LIVENESS_COUNTER | it was refreshed since this observer's last look that found it live |
 * | SNTR_LIVENESS_TIME | its last refresh is at most twice `updateInterval` ago |
 *
 * A clock that stepped back counts as no time. Takes no latch and stores nothing into the node, so it may be called
 * within any section. It reads the condition and then the counter, or the time and the interval, once each. The node
 * may change between two of them, and the result may be old at once.
 * - `node`: the node
 * - `observer`: this observer's record of this node; used by one thread at a time
 *
 * Returns 0: the node is live, and the record keeps this look. Otherwise the record is as it was:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NULL_OBSERVER: `observer` is null
 * - SNTR_RC_UPDATE_OF_CREATED, SNTR_RC_UPDATE_OF_INITIALIZED, SNTR_RC_UPDATE_OF_ABANDONED,
 *   SNTR_RC_UPDATE_OF_DISASSOCIATED, SNTR_RC_CONDITION_OUT_OF_RANGE: the node is not active, as for
 *   sntrUpdateNodeStatus()
 * - SNTR_RC_NOT_UPDATED_SINCE_LOOK: by counter: no refresh since the last look
 * - SNTR_RC_OWNER_LATE: by time: the last refresh is more than twice the interval ago
 * - SNTR_RC_BAD_LIVENESS_MODE: the observer's mode is neither 1 nor 2
 * - SNTR_RC_ATOMIC_FAILED: the observer's counter could not be stored */
SNTR_API uint32_t sntrIsStillBeingUpdated(SNodeCB_t *node, SNodeObserver *observer);

/** Returns the number of a node's structural changes since it was initialized. An observer that finds another number
 * than before looks its properties up anew. Takes no latch.
 * - `node`: the node
 * - `counter`: receives the number; beyond 2^31-1 it goes on with the smallest negative one
 *
 * Returns 0. Otherwise nothing is written:
 * - SNTR_RC_NULL_NODE: `node` is null
 * - SNTR_RC_NULL_OUTPUT: `counter` is null */
SNTR_API uint32_t sntrGetNodeReconfigCounter(SNodeCB_t *node, int64_t *counter);

/** Applies an action to each node that the mask selects, among a node and the nodes below it, those below first. The
 * mask selects a node if it has the bit of the node's condition, or the bit for every node under this action. Nodes in
 * another segment than their parent's are left alone. The action runs on each node in sections of its own; nothing is
 * held in between.
 *
 * Skips dependents that are only created, only initialized or disassociated. A dependent whose subtree returns
 * SNTR_RC_NODE_ABANDONED does not stop the others. Any other failure ends the call; the nodes acted on stay so.
 * - `node`: reference to the node; null once the node was freed
 * - `info`: the segment that holds the node. Action 6 frees into its pool and needs its version; may be null for the
 *   other actions
 * - `parentInfo`: not interpreted
 * - `reserved`: 0
 * - `action`: `SNTR_ACTION_*`
 * - `mask`: selects nodes; see `SNTR_MASK_*`
 * - `depth`: level of the node, 1 for the top of a tree
 * - `limit`: most levels reached, that of depth 1 counted; 0 for all
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: the node is null
 * - SNTR_RC_CONDITION_OUT_OF_RANGE: the stored condition of a node is not 1 to 5
 * - SNTR_RC_BAD_STATUS_ACTION: another action, and a node is selected
 * - SNTR_RC_NULL_KEY: action 6 on a selected node, and `info` is null
 * - any code of the action's function: sntrActivateNode(), sntrAbandonNode(), sntrDisassociateNode(),
 *   sntrDisclaimNode() or sntrUpdateNodeStatus()
 * - SNTR_RC_LIMIT_TOO_LARGE: the tree has more than SNTR_MAX_TREE_LEVELS levels, or more than 0x1000000 nodes: its
 *   links are damaged
 * - SNTR_RC_OSS_NO_MEMORY: no private memory is left to keep the way down */
SNTR_API uint32_t sntrSetNodeStatusRecursively(SNodeCB_t **node, const ShmSegInfo_t *info, const void *parentInfo,
                                               uint32_t reserved, uint32_t action, uint32_t mask, uint32_t depth,
                                               uint64_t limit);

/** Applies an action to the nodes of a tree, as sntrSetNodeStatusRecursively() does from level 1 on. The top must be
 * active or only created.
 * - `top`: the top; after action 6 it may be gone, and its address must not be used any more
 * - `info`: the segment that holds the top
 * - `limit`: most levels reached, at most SNTR_MAX_TREE_LEVELS; 0 for all
 * - `action`: `SNTR_ACTION_*`
 * - `mask`: selects nodes; see `SNTR_MASK_*`
 *
 * Returns 0, or:
 * - SNTR_RC_NULL_NODE: `top` is null
 * - SNTR_RC_NULL_KEY: `info` is null
 * - SECTION codes
 * - CONDITION codes: the top's condition does not allow it
 * - SNTR_RC_LIMIT_TOO_LARGE: `limit` is too large
 * - any code of sntrSetNodeStatusRecursively(). With SNTR_MASK_PARENTS_ENTRY it is no failure if the parent has no
 *   such entry any more */
SNTR_API uint32_t sntrSetStatusForEachNodeInATree(SNodeCB_t *top, const ShmSegInfo_t *info, uint64_t limit,
                                                  uint32_t action, uint32_t mask);

#ifdef __cplusplus
}
#endif

#endif
