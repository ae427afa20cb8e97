#include <algorithm>

#include "coredb/iterator.h"
#include "coredb/write_state.h"

namespace qd::coredb {
namespace {

// Where a bound lies among stored keys: the index's prefix and as much of the bound as stored keys
// can hold.
key_buffer stored_bound(index const& index, byte_view bound) {
  key_buffer key;
  key.append(index.prefix.data(), index.prefix.size());
  key.append(bound.data(), std::min(bound.size(), longest_entry_key(index)));
  return key;
}

bool below(byte_view key, key_bound const& bound) {
  return bound.beyond_all || compare_bytes(key, bound.bytes.bytes()) < 0;
}

}  // namespace

void entry_iterator::start(index const& index, bool descending) {
  index_ = &index;
  descending_ = descending;
  stepping_ = false;
  ended_ = range_.low.beyond_all || !below(range_.low.bytes.bytes(), range_.high);
  position_ = position::nowhere;
  group_.clear();
  batch_size_ = 0;
  batch_next_ = 0;
  batch_target_ = 1;
  met_ahead_.reset();
  any_out_ = false;
  last_member_.reset();
  cursor_.prepare(context_, index.space);
}

void entry_iterator::next(VELA_RECORD& record) {
  if (stepping_) throw error(error_kind::storage, "an iterator was used after it had failed");
  stepping_ = true;
  step(record);
  stepping_ = false;
}

void entry_iterator::step(VELA_RECORD& record) {
  if (batch_next_ == batch_size_) {
    if (met_ahead_) throw error(*met_ahead_);
    if (context_.writer()) {
      if (!advance(record)) record = {};
      return;
    }
    read_ahead();
    if (batch_size_ == 0) {
      record = {};
      return;
    }
  }
  record = batch_[batch_next_++];
}

// Fills the batch. An error behind its first entry waits until that entry is out.
void entry_iterator::read_ahead() {
  batch_next_ = 0;
  batch_size_ = 0;
  unsigned int const target = batch_target_;
  batch_target_ = std::min(batch_target_ * 2, longest_batch);
  try {
    while (batch_size_ < target && advance(batch_[batch_size_])) {
      VELA_RECORD const& found = batch_[batch_size_];
      // Alone it is read at once, but then its block's head and its record come at the same time.
      context_.prefetch(found.oid, found.layout);
      ++batch_size_;
    }
  } catch (error const& met) {
    if (batch_size_ == 0) throw;
    met_ahead_ = met;
  }
}

// Takes the next object of the walk from the index.
bool entry_iterator::advance(VELA_RECORD& record) {
  if (ended_) return false;
  write_state const* const writer = context_.writer();
  bool const moved = writer && writer->changes != changes_seen_;
  if (writer) changes_seen_ = writer->changes;
  if (moved && any_out_) {
    group_.clear();
    position_ = seek_after_change() ? position::on_unread : position::at_end;
  }
  for (;;) {
    if (emit_group_member(record)) return true;
    if (!find_entry() || !is_entry_of(*index_, cursor_->key())) break;
    entry_view const entry = read_entry(*index_, cursor_->key(), cursor_->value());
    byte_view const whole = cursor_->key().subspan(index_->prefix.size());
    if (beyond_end(entry, whole)) break;
    if (entry.cut) {
      read_group(entry);
      continue;
    }
    position_ = position::on_read;
    record = {entry.oid, block_of(entry.oid), entry.layout};
    if (writer) {
      any_out_ = true;
      last_member_.reset();
      last_key_.assign(cursor_->key().begin(), cursor_->key().end());
    }
    return true;
  }
  ended_ = true;
  return false;
}

// Puts the cursor on the next entry that was not read; false at the end of the key space.
bool entry_iterator::find_entry() {
  bool found = true;
  switch (position_) {
    case position::nowhere:
      found = seek_start();
      break;
    case position::on_read:
      found = descending_ ? cursor_->previous() : cursor_->next();
      break;
    case position::on_unread:
      break;
    case position::at_end:
      return false;
  }
  if (found) position_ = position::on_unread;
  return found;
}

bool entry_iterator::seek_start() {
  if (!descending_) return cursor_->seek(stored_bound(*index_, range_.low.bytes.bytes()).bytes());
  key_buffer above = stored_bound(*index_, range_.high.bytes.bytes());
  // A bound that was cut may be above some entries of the group that it was cut to.
  bool const cut = range_.high.bytes.size() > longest_entry_key(*index_);
  if (range_.high.beyond_all || cut) make_successor(above);
  return cursor_->seek(above.bytes()) ? cursor_->previous() : cursor_->seek_last();
}

// Goes behind the last entry that went out, or to the start of its group.
bool entry_iterator::seek_after_change() {
  if (!descending_) {
    if (!cursor_->seek(last_key_)) return false;
    bool const same = !last_member_ && compare_bytes(cursor_->key(), last_key_) == 0;
    return same ? cursor_->next() : true;
  }
  key_buffer above;
  above.append(last_key_.data(), last_key_.size());
  if (last_member_) make_successor(above);
  return cursor_->seek(above.bytes()) ? cursor_->previous() : cursor_->seek_last();
}

// Whether the walk is over at this entry. `key` is the entry's, object id included.
bool entry_iterator::beyond_end(entry_view const& entry, byte_view key) const {
  key_bound const& end = descending_ ? range_.low : range_.high;
  if (end.beyond_all) return false;
  // Where the stored keys end is where a longer bound does not decide.
  if (entry.cut && end.bytes.size() <= entry.key.size()) {
    return descending_ == below(entry.key, end);
  }
  if (entry.cut) {
    // Compared as far as the entry's key goes; the members of its group are compared one by one.
    byte_view const bound = end.bytes.bytes().first(std::min(end.bytes.size(), entry.key.size()));
    int const order = compare_bytes(entry.key.first(bound.size()), bound);
    return descending_ ? order < 0 : order > 0;
  }
  return descending_ == below(key, end);
}

// Reads all entries whose cut keys equal the first one's, and puts them in order by their records.
void entry_iterator::read_group(entry_view const& first) {
  std::vector<unsigned char> const cut(first.key.begin(), first.key.end());
  byte_view const without_id = cursor_->key().first(index_->prefix.size() + first.key.size());
  std::vector<unsigned char> const place(without_id.begin(), without_id.end());
  std::vector<group_member> members;
  bool found = true;
  while (found && is_entry_of(*index_, cursor_->key())) {
    entry_view const entry = read_entry(*index_, cursor_->key(), cursor_->value());
    if (!entry.cut || compare_bytes(entry.key, cut) != 0) break;
    group_member member{{}, entry.oid, entry.layout};
    append_record_key(member.key, *index_, entry, context_);
    if (!below(member.key.bytes(), range_.low) && below(member.key.bytes(), range_.high)) {
      members.push_back(std::move(member));
    }
    found = descending_ ? cursor_->previous() : cursor_->next();
  }
  auto const before = [](group_member const& left, group_member const& right) {
    int const order = compare_bytes(left.key.bytes(), right.key.bytes());
    return order != 0 ? order < 0 : left.oid < right.oid;
  };
  // The next one stands last.
  std::sort(members.begin(), members.end(), before);
  if (!descending_) std::reverse(members.begin(), members.end());
  if (last_member_ && last_key_ == place) {
    std::erase_if(members, [&](group_member const& member) {
      return descending_ ? !before(member, *last_member_) : !before(*last_member_, member);
    });
  }
  group_ = std::move(members);
  if (context_.writer()) {
    any_out_ = true;
    last_key_ = place;
  }
  position_ = found ? position::on_unread : position::at_end;
}

bool entry_iterator::emit_group_member(VELA_RECORD& record) {
  if (group_.empty()) return false;
  group_member& member = group_.back();
  record = {member.oid, block_of(member.oid), member.layout};
  if (context_.writer()) last_member_ = std::move(member);
  group_.pop_back();
  return true;
}

}  // namespace qd::coredb
