// SPDX-License-Identifier: Apache-2.0
#include "host/services/avl_tree.h"

#include <algorithm>
#include <deque>
#include <string>
#include <utility>

#include "host/parts.h"
#include "platform/avl_tree.h"

namespace host::services {

int AvlTree::height(const Link &link) {
  return link ? link->height : 0;
}

void AvlTree::update(Node &node) {
  node.height = 1 + std::max(height(node.left), height(node.right));
}

// The upper side's child takes its parent's place; its lower subtree b changes sides, so that the order stays. With the
// left side as the upper one: ((a, side, b), top, c) becomes (a, side, (b, top, c)).
void AvlTree::rotate(Link &link, Link Node::*upper, Link Node::*lower) {
  Link side = std::move(*link.*upper);
  *link.*upper = std::move(*side.*lower);
  update(*link);
  *side.*lower = std::move(link);
  link = std::move(side);
  update(*link);
}

// `upper`: the side that is two levels higher than the other. When it leans inwards, it is straightened first.
void AvlTree::lower_side(Link &link, Link Node::*upper, Link Node::*lower) {
  Link &side = *link.*upper;
  if (height(*side.*lower) > height(*side.*upper)) {
    rotate(side, lower, upper);
  }
  rotate(link, upper, lower);
}

void AvlTree::rebalance(Link &link) {
  update(*link);
  const int lean = height(link->left) - height(link->right);
  if (lean > 1) {
    lower_side(link, &Node::left, &Node::right);
  } else if (lean < -1) {
    lower_side(link, &Node::right, &Node::left);
  }
}

void *AvlTree::find(const void *probe) const {
  const Node *node = root_.get();
  while (node != nullptr) {
    const int32_t order = compare_(probe, node->record);
    if (order == 0) {
      return node->record;
    }
    node = (order < 0 ? node->left : node->right).get();
  }
  return nullptr;
}

void *AvlTree::insert_below(Link &link, void *record) {
  if (!link) {
    link = std::make_unique<Node>(record);
    return record;
  }
  const int32_t order = compare_(record, link->record);
  if (order == 0) {
    return link->record;
  }
  void *present = insert_below(order < 0 ? link->left : link->right, record);
  rebalance(link);
  return present;
}

// Unlinks the leftmost node of a subtree.
AvlTree::Link AvlTree::take_first(Link &link) {
  if (link->left) {
    Link first = take_first(link->left);
    rebalance(link);
    return first;
  }
  Link first = std::move(link);
  link = std::move(first->right);
  return first;
}

// Removes the top node of a subtree: its successor, if there is a right side to have one, takes its place.
void AvlTree::remove_top(Link &link) {
  if (!link->right) {
    link = std::exchange(link->left, nullptr);
    return;
  }
  Link successor = take_first(link->right);
  successor->left = std::move(link->left);
  successor->right = std::move(link->right);
  link = std::move(successor);
  rebalance(link);
}

void *AvlTree::remove_below(Link &link, const void *probe) {
  if (!link) {
    return nullptr;
  }
  const int32_t order = compare_(probe, link->record);
  if (order == 0) {
    void *removed = link->record;
    remove_top(link);
    return removed;
  }
  void *removed = remove_below(order < 0 ? link->left : link->right, probe);
  rebalance(link);
  return removed;
}

void AvlTree::collect(const Link &link, std::vector<void *> &into) {
  if (link) {
    collect(link->left, into);
    into.push_back(link->record);
    collect(link->right, into);
  }
}

std::vector<void *> AvlTree::records() const {
  std::vector<void *> found;
  collect(root_, found);
  return found;
}

bool AvlTree::balanced(const Link &link) {
  return !link || (std::abs(height(link->left) - height(link->right)) <= 1 && balanced(link->left) &&
                   balanced(link->right) && link->height == 1 + std::max(height(link->left), height(link->right)));
}

std::vector<void *> avl_records(const void *tree) {
  return tree == nullptr ? std::vector<void *>{} : static_cast<const AvlTree *>(tree)->records();
}

}  // namespace host::services

namespace {

using host::services::AvlTree;
using host::services::Call;

// Whether a call has its two arguments; a violation otherwise.
bool complete(Call call, const void *tree, const void *record) {
  if (tree == nullptr || record == nullptr) {
    host::live().violations.add(std::string(name(call)) + ": null argument");
  }
  return tree != nullptr && record != nullptr;
}

}  // namespace

void *avl_create(int32_t (*compare)(const void *, const void *), uint32_t flags) {
  // What the library created lives as long as the library, which is longer than a switch.
  static auto &created = *new std::deque<AvlTree>;
  host::Parts &parts = host::live();
  if (parts.faults.enter(Call::avl_create) != 0) {
    return nullptr;
  }
  if (compare == nullptr || flags != 0) {
    parts.violations.add("avl_create: bad argument");
    return nullptr;
  }
  return &created.emplace_back(compare);
}

void *avl_find(void *tree, const void *probe) {
  host::live().faults.count(Call::avl_find);
  return complete(Call::avl_find, tree, probe) ? static_cast<const AvlTree *>(tree)->find(probe) : nullptr;
}

void *avl_insert(void *tree, void *node) {
  if (host::live().faults.enter(Call::avl_insert) != 0 || !complete(Call::avl_insert, tree, node)) {
    return nullptr;
  }
  // Another record that compares equal keeps its place, and this one could not be inserted.
  return static_cast<AvlTree *>(tree)->insert(node) == node ? node : nullptr;
}

void *avl_delete(void *tree, void *node) {
  host::live().faults.count(Call::avl_delete);
  if (!complete(Call::avl_delete, tree, node)) {
    return nullptr;
  }
  auto *const known = static_cast<AvlTree *>(tree);
  return known->find(node) == node ? known->remove(node) : nullptr;
}
