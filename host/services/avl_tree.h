// SPDX-License-Identifier: Apache-2.0
// An AVL tree over the caller's records: a binary search tree in which the heights of a node's two subtrees differ by
// one at most, which rotations restore on the way back from each change.
#ifndef HOST_SERVICES_AVL_TREE_H
#define HOST_SERVICES_AVL_TREE_H

#include <cstdint>
#include <memory>
#include <vector>

namespace host::services {

class AvlTree {
 public:
  using Compare = int32_t (*)(const void *, const void *);

  explicit AvlTree(Compare compare) : compare_(compare) {}

  // The record that compares equal to `probe`, or null.
  void *find(const void *probe) const;
  // Inserts a record, unless one that compares equal is there. Returns the record that is in the tree afterwards.
  void *insert(void *record) { return insert_below(root_, record); }
  // Takes out the record that compares equal. Returns it, or null.
  void *remove(const void *probe) { return remove_below(root_, probe); }

  std::vector<void *> records() const;  // in order
  bool balanced() const { return balanced(root_); }

 private:
  struct Node;
  using Link = std::unique_ptr<Node>;
  struct Node {
    explicit Node(void *of) : record(of) {}

    void *record;
    int height = 1;
    Link left;
    Link right;
  };

  static int height(const Link &link);
  static void update(Node &node);
  static void rotate(Link &link, Link Node::*upper, Link Node::*lower);
  static void lower_side(Link &link, Link Node::*upper, Link Node::*lower);
  static void rebalance(Link &link);
  static Link take_first(Link &link);
  static void remove_top(Link &link);
  static void collect(const Link &link, std::vector<void *> &into);
  static bool balanced(const Link &link);

  void *insert_below(Link &link, void *record);
  void *remove_below(Link &link, const void *probe);

  Compare compare_;
  Link root_;
};

// The records of a tree that avl_create made, in order; none for null.
std::vector<void *> avl_records(const void *tree);

}  // namespace host::services

#endif
