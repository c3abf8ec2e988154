// SPDX-License-Identifier: Apache-2.0
#include "data/user_agent/alternative_tree.h"

#include "data/containers/steps.h"
#include "data/containers/word_hash.h"

namespace byod::data {

namespace {

/// The alternatives of one rule have one label.
bool Before(const Alternative& a, const Alternative& b) {
  return a.label != b.label ? a.label < b.label : &a < &b;
}

bool Above(const Alternative& a, const Alternative& b) {
  return HashOfAddress(&a) > HashOfAddress(&b);
}

}  // namespace

void AlternativeTree::Insert(Alternative& alternative) {
  Alternative** place = &root_;
  while (*place != nullptr && Above(**place, alternative)) {
    CountStep();
    place = Before(alternative, **place) ? &(*place)->left : &(*place)->right;
  }
  // What stood there is divided into what comes before the new one and what comes behind.
  Alternative* rest = *place;
  *place = &alternative;
  Alternative** before = &alternative.left;
  Alternative** behind = &alternative.right;
  while (rest != nullptr) {
    CountStep();
    if (Before(*rest, alternative)) {
      *before = rest;
      before = &rest->right;
      rest = rest->right;
    } else {
      *behind = rest;
      behind = &rest->left;
      rest = rest->left;
    }
  }
  *before = nullptr;
  *behind = nullptr;
}

void AlternativeTree::Erase(Alternative& alternative) {
  Alternative** place = &root_;
  while (*place != &alternative) {
    CountStep();
    place = Before(alternative, **place) ? &(*place)->left : &(*place)->right;
  }
  Alternative* before = alternative.left;
  Alternative* behind = alternative.right;
  while (before != nullptr && behind != nullptr) {
    CountStep();
    if (Above(*before, *behind)) {
      *place = before;
      place = &before->right;
      before = before->right;
    } else {
      *place = behind;
      place = &behind->left;
      behind = behind->left;
    }
  }
  *place = before != nullptr ? before : behind;
}

}  // namespace byod::data
