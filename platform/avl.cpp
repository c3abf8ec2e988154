// SPDX-License-Identifier: Apache-2.0
#include "lauth_avl.h"

#include <boost/intrusive/avltree_algorithms.hpp>
#include <boost/intrusive/detail/avltree_node.hpp>
#include <cstdlib>
#include <new>

namespace {

using Traits = boost::intrusive::avltree_node_traits<void*, true>;
using Algorithms = boost::intrusive::avltree_algorithms<Traits>;
using Node = Traits::node;
using Compare = int (*)(const void*, const void*);
using Release = void (*)(void*);

static_assert(sizeof(Node) == 3 * sizeof(void*), "the balance is kept in the parent pointer");
static_assert(sizeof(Node) == sizeof(AVL_Node) && alignof(Node) == alignof(AVL_Node));

struct Tree;

struct Walk {
  Tree* tree;  // null once the tree is gone
  Node* next;  // null at the end
  Walk* older;
};

struct Tree {
  Node header;  // parent: the root; left and right: the first and last record
  Compare compare;
  Release release;
  Walk* walks;          // the open ones
  const Node* pending;  // the record that the release callback has been given and not yet removed
  bool closing;
};

Tree* TreeOf(void* tree) {
  return static_cast<Tree*>(tree);
}
Node* NodeOf(void* record) {
  return static_cast<Node*>(record);
}

bool IsLinked(const Node* node) {
  return Traits::get_parent(node) != nullptr;
}

// Header and root are each other's parent, and no other two nodes are. That is what ends a climb in
// whichever tree the node is.
bool IsHeaderAbove(const Node* parent, const Node* node) {
  return Traits::get_parent(parent) == node;
}

bool IsIn(const Tree* tree, const Node* node) {
  if (!IsLinked(node)) return false;
  for (const Node* parent = Traits::get_parent(node); !IsHeaderAbove(parent, node);
       parent = Traits::get_parent(node)) {
    node = parent;
  }
  return Traits::get_parent(node) == &tree->header;
}

Node* First(const Tree* tree) {
  return IsLinked(&tree->header) ? Traits::get_left(&tree->header) : nullptr;
}

// The neighbour of a linked node: the near end of the subtree on that side, or else the first
// ancestor that the climb reaches from the other side.
template <Node* (*kSide)(const Node*), Node* (*kOtherSide)(const Node*)>
Node* Neighbour(const Node* node) {
  if (Node* below = kSide(node)) {
    while (Node* nearer = kOtherSide(below))
      below = nearer;
    return below;
  }
  for (;;) {
    Node* parent = Traits::get_parent(node);
    if (IsHeaderAbove(parent, node)) return nullptr;
    if (kSide(parent) != node) return parent;
    node = parent;
  }
}

Node* Left(const Node* node) {
  return node->left_;
}
Node* Right(const Node* node) {
  return node->right_;
}
Node* Next(const Node* node) {
  return Neighbour<Right, Left>(node);
}
Node* Previous(const Node* node) {
  return Neighbour<Left, Right>(node);
}

// The children of a node, for a search. Both are on their way from memory while the compare is at
// work, and the choice is no branch: it would be mispredicted at every other node.
class Children {
 public:
  explicit Children(const Node* node) : children_{node->left_, node->right_} {
    __builtin_prefetch(children_[0]);
    __builtin_prefetch(children_[1]);
  }

  // Where to go on after compare(node, probe), which was not 0.
  Node* Towards(int order) const { return children_[order < 0]; }

 private:
  Node* children_[2];
};

void Unlink(Tree* tree, Node* node) {
  for (Walk* walk = tree->walks; walk != nullptr; walk = walk->older) {
    if (walk->next == node) walk->next = Next(node);
  }
  Algorithms::erase(&tree->header, node);
  *node = Node{};
}

}  // namespace

void* AVL_Init(Compare compare, uint32_t /*zero*/, Release release) {
  if (compare == nullptr) return nullptr;
  void* memory = std::calloc(1, sizeof(Tree));
  if (memory == nullptr) return nullptr;
  Tree* tree = new (memory) Tree{};
  Algorithms::init_header(&tree->header);
  tree->compare = compare;
  tree->release = release;
  return tree;
}

void AVL_Fini(void* handle) {
  Tree* tree = TreeOf(handle);
  if (tree == nullptr || tree->closing) return;
  tree->closing = true;
  // Each record leaves the tree before the callback sees it, so nothing that the callback does to
  // the record can keep the loop from ending.
  while (Node* node = First(tree)) {
    Unlink(tree, node);
    if (tree->release == nullptr) continue;
    tree->pending = node;
    tree->release(node);
    tree->pending = nullptr;
  }
  for (Walk* walk = tree->walks; walk != nullptr; walk = walk->older)
    walk->tree = nullptr;
  std::free(tree);
}

uint32_t AVL_Insert(void* handle, void* record) {
  Tree* tree = TreeOf(handle);
  Node* node = NodeOf(record);
  if (tree == nullptr || node == nullptr) return AVL_ERR_ARGUMENT;
  if (tree->closing) return AVL_ERR_CLOSING;
  if (IsLinked(node)) return AVL_ERR_LINKED;

  Algorithms::insert_commit_data place;
  place.node = &tree->header;
  place.link_left = true;
  const Compare compare = tree->compare;
  for (Node* at = Traits::get_parent(&tree->header); at != nullptr;) {
    const Children children(at);
    const int order = compare(at, record);
    if (order == 0) return AVL_ERR_EXISTS;
    place.node = at;
    place.link_left = order > 0;
    at = children.Towards(order);
  }
  Algorithms::insert_unique_commit(&tree->header, node, place);
  return 0;
}

uint32_t AVL_Remove(void* handle, void* record) {
  Tree* tree = TreeOf(handle);
  if (tree == nullptr || record == nullptr) return AVL_ERR_ARGUMENT;
  if (record == tree->pending) {
    tree->pending = nullptr;
    return 0;
  }
  Node* node = NodeOf(record);
  if (!IsIn(tree, node)) return AVL_ERR_NOT_FOUND;
  Unlink(tree, node);
  return 0;
}

void* AVL_Get(void* handle, const void* probe, Compare compare) {
  const Tree* tree = TreeOf(handle);
  if (tree == nullptr || compare == nullptr) return nullptr;
  Node* at = Traits::get_parent(&tree->header);
  while (at != nullptr) {
    const Children children(at);
    const int order = compare(at, probe);
    if (order == 0) break;
    at = children.Towards(order);
  }
  return at;
}

void* AVL_GetNext(void* tree, void* record) {
  if (tree == nullptr || record == nullptr || !IsLinked(NodeOf(record))) return nullptr;
  return Next(NodeOf(record));
}

void* AVL_GetPrev(void* tree, void* record) {
  if (tree == nullptr || record == nullptr || !IsLinked(NodeOf(record))) return nullptr;
  return Previous(NodeOf(record));
}

void* AVL_GetLeftMost(void* tree) {
  return tree != nullptr ? First(TreeOf(tree)) : nullptr;
}

void* AVL_Walk_Init(void* handle) {
  Tree* tree = TreeOf(handle);
  if (tree == nullptr) return nullptr;
  void* memory = std::malloc(sizeof(Walk));
  if (memory == nullptr) return nullptr;
  tree->walks = new (memory) Walk{tree, First(tree), tree->walks};
  return tree->walks;
}

void* AVL_WalkNode(void* handle) {
  Walk* walk = static_cast<Walk*>(handle);
  if (walk == nullptr || walk->tree == nullptr || walk->next == nullptr) return nullptr;
  Node* node = walk->next;
  walk->next = Next(node);
  return node;
}

void AVL_Walk_Fini(void* handle) {
  Walk* walk = static_cast<Walk*>(handle);
  if (walk == nullptr) return;
  if (walk->tree != nullptr) {
    Walk** link = &walk->tree->walks;
    while (*link != walk)
      link = &(*link)->older;
    *link = walk->older;
  }
  std::free(walk);
}
