#pragma once

#include <atomic>

namespace quillmoria {

/// Transfers that can be cut off together.
///
///     TransferGroup group;
///     // on each of its threads:
///     const TransferGroup::Membership membership(group);  // what this thread requests belongs to the group
///     // on any thread:
///     group.cutOff();
///
/// Must outlive its memberships.
class TransferGroup {
 public:
  TransferGroup() = default;
  TransferGroup(const TransferGroup&) = delete;
  TransferGroup& operator=(const TransferGroup&) = delete;

  /// Ends the group's transfers at once, with an error text, and lets none begin any more. Any thread.
  void cutOff();
  bool isCutOff() const { return isCutOff_; }

  /// The calling thread's group, or null.
  static TransferGroup* current();

  /// Makes a group the calling thread's as long as it lives. One at a time.
  class Membership {
   public:
    explicit Membership(TransferGroup& group);
    Membership(const Membership&) = delete;
    Membership& operator=(const Membership&) = delete;
    ~Membership();
  };

 private:
  std::atomic<bool> isCutOff_ = false;
};

}  // namespace quillmoria
