// SPDX-License-Identifier: Apache-2.0
// What the terminals of a user group may do, by their category.
#ifndef LAUTHD_STATE_AUTHORIZATION_H
#define LAUTHD_STATE_AUTHORIZATION_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tlv/append.h"
#include "tlv/message.h"

namespace byod::lauthd {

/// Names and values, in the order in which the names came first. A name may have several values,
/// which stand together.
using Attributes = std::vector<std::pair<std::string, std::string>>;

/// The sets, by group and category.
class Authorization {
 public:
  using Sets = std::map<std::string, Attributes, std::less<>>;
  using Groups = std::map<std::string, Sets, std::less<>>;

  /// @return the set of a group for exactly this category; null if there is none
  const Attributes* Find(std::string_view group, std::string_view category) const;

  /// @return category and set that serve a terminal of a group: those of its category, or those for
  /// any; null if there are none
  const Sets::value_type* Applying(std::string_view group, std::string_view category) const;

  /// Puts a set in the place of another; none removes it. @throws std::bad_alloc
  void Put(const std::string& group, const std::string& category,
           std::optional<Attributes> attributes);

  /// The sets of one group as they are to be. All memory is allocated before they are.
  class Draft {
   public:
    /// Begins with the group's sets. @throws std::bad_alloc
    Draft(const Authorization& authorization, const std::string& group);

    /// As that of Authorization.
    void Put(const std::string& category, std::optional<Attributes> attributes);

   private:
    friend class Authorization;

    std::string group_;
    Groups sets_;  // of this group, also when there are none
  };

  /// Exchanges the sets of a draft's group for those of the draft.
  void Exchange(Draft& draft) noexcept;

  void Clear() { groups_.clear(); }
  const Groups& groups() const { return groups_; }

 private:
  Groups groups_;
};

/// Makes the library hand stored sets to this one.
void InstallService(Authorization& authorization);
void RemoveService();

/// @return how many stored sets the library has handed over so far
uint64_t RecoveredSets();

/// Reads the pairs of a message. @return false when a name or value is missing or too long
bool ReadAttributes(uint32_t message, Attributes& attributes);

/// Appends pairs to a message.
void AppendAttributes(tlv::Appender& append, const Attributes& attributes);

/// Appends a set as one nested element. @return whether there was memory
bool AppendSet(tlv::Appender& append, std::string_view group, std::string_view category,
               const Attributes& attributes);

/// @return a set as a message; none without memory
tlv::Message EncodeSet(std::string_view group, std::string_view category,
                       const Attributes& attributes);

/// Stores a set in the database, or that there is none. @return 0 or BYOD_ERR_FAILED
uint32_t StoreSet(const std::string& group, const std::string& category,
                  const Attributes* attributes);

}  // namespace byod::lauthd

#endif  // LAUTHD_STATE_AUTHORIZATION_H
