// The iterators behind vela_context_create_iterator.
#pragma once

#include <array>
#include <optional>
#include <vector>

#include "coredb/context.h"
#include "coredb/index_key.h"
#include "coredb/record_key.h"
#include "kernel/vela.h"

namespace qd::coredb {

// The keys from `low` to `high`, `high` not among them.
struct key_range {
  key_bound low;
  key_bound high;
};

// A cursor that is kept from walk to walk.
class kept_cursor {
 public:
  // Makes it a cursor of this space in the context's present transaction.
  void prepare(context& context, keyspace space) {
    if (!cursor_ || space_ != space) {
      cursor_.emplace(context.transaction(), space);
      space_ = space;
    } else if (life_ != context.life()) {
      cursor_->renew(context.transaction());
    }
    life_ = context.life();
  }
  store_cursor* operator->() { return &*cursor_; }
  store_cursor const* operator->() const { return &*cursor_; }

 private:
  std::optional<store_cursor> cursor_;
  keyspace space_ = keyspace::meta;
  std::uint64_t life_ = 0;
};

// Walks one range of one index, upwards or downwards. At the end, and at every later call, `next`
// stores object id 0. It throws error and std::bad_alloc; the walk is then broken and goes no
// further.
class kernel_iterator {
 public:
  virtual ~kernel_iterator() = default;
  kernel_iterator() = default;
  kernel_iterator(kernel_iterator const&) = delete;
  kernel_iterator& operator=(kernel_iterator const&) = delete;

  // The range of the next walk, to be written before `start`.
  key_range& range() { return range_; }
  // Begins a walk; an iterator can be used for many, one after the other, in one context.
  virtual void start(index const& index, bool descending) = 0;
  virtual void next(VELA_RECORD& record) = 0;

 protected:
  key_range range_;
};

// Walks the entries of an index.
//
// In a snapshot it reads ahead, 1, 2, 4, .. 16 entries at a time, and fetches their records into
// the processor's cache meanwhile. In the write transaction, where each change may move what a
// cursor points to, it takes one entry at a time and looks for its place again after every change.
class entry_iterator final : public kernel_iterator {
 public:
  explicit entry_iterator(context& context) : context_(context) {}

  void start(index const& index, bool descending) override;
  void next(VELA_RECORD& record) override;

 private:
  // One object of a group of entries whose cut keys are equal.
  struct group_member {
    key_buffer key;  // The whole storage key.
    std::uint64_t oid;
    std::uint16_t layout;
  };
  enum class position { nowhere, on_unread, on_read, at_end };

  void step(VELA_RECORD& record);
  bool advance(VELA_RECORD& record);
  void read_ahead();
  bool find_entry();
  bool seek_start();
  bool seek_after_change();
  void read_group(entry_view const& first);
  bool emit_group_member(VELA_RECORD& record);
  bool beyond_end(entry_view const& entry, byte_view key) const;

  context& context_;
  kept_cursor cursor_;
  index const* index_ = nullptr;
  bool descending_ = false;
  bool ended_ = false;
  // Set while a step is under way; when a step finds it set, an earlier one failed.
  bool stepping_ = false;
  position position_ = position::nowhere;

  // Members still to go out, the next one last.
  std::vector<group_member> group_;

  static constexpr unsigned int longest_batch = 16;
  std::array<VELA_RECORD, longest_batch> batch_;
  unsigned int batch_size_ = 0;
  unsigned int batch_next_ = 0;
  unsigned int batch_target_ = 1;
  // Met while reading ahead; reported when the batch before it is used up.
  std::optional<error> met_ahead_;

  // In the write transaction: the change count and the place that the walk has reached.
  std::uint64_t changes_seen_ = 0;
  bool any_out_ = false;
  std::vector<unsigned char> last_key_;      // Stored key of the last entry, or of its group
                                             // without an object id.
  std::optional<group_member> last_member_;  // When the last entry was of a group.
};

// Walks the objects of a class and of the classes derived from it in the order of their ids,
// through the blocks that hold them.
class extent_iterator final : public kernel_iterator {
 public:
  explicit extent_iterator(context& context) : context_(context) {}

  void start(index const& index, bool descending) override;
  void next(VELA_RECORD& record) override;

 private:
  // The next block of one layout; none: `number` is 0.
  struct head {
    std::uint16_t layout;
    std::uint64_t number;
  };

  bool emit_from_block(VELA_RECORD& record);
  bool find_block();
  void load_heads(std::uint64_t from);
  void load_head(head& head, std::uint64_t from);

  context& context_;
  kept_cursor cursor_;
  bool descending_ = false;
  bool ended_ = false;
  // The objects still to come lie in [first_, last_].
  std::uint64_t first_ = 0;
  std::uint64_t last_ = 0;
  std::vector<head> heads_;
  std::uint64_t block_ = 0;               // The present one; 0: between blocks.
  unsigned char const* image_ = nullptr;  // Of the present block.
  std::uint64_t unread_ = 0;  // Bit i is set while record i of the present block may still come.
  std::uint64_t changes_seen_ = 0;
};

}  // namespace qd::coredb
