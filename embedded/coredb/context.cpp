#include "coredb/context.h"

#include "coredb/database_state.h"
#include "coredb/error.h"
#include "coredb/iterator.h"
#include "coredb/write_state.h"

namespace qd::coredb {
namespace {

// An iterator handle: context place, then the iterator's position in its context, then a count.
constexpr unsigned int position_bits = 14;
constexpr std::size_t most_iterators = std::size_t{1} << position_bits;

// What a sleeping context keeps at most.
constexpr std::size_t most_spare_iterators = 64;
constexpr std::size_t most_lent_words = std::size_t{1} << 14;

std::size_t position_of_handle(unsigned long handle) {
  return handle >> place_bits & (most_iterators - 1);
}

// Empty before the first commit.
std::optional<byte_view> stored_counters(store_transaction const& transaction) {
  std::optional<byte_view> const counters = transaction.get(keyspace::meta, counters_name());
  if (counters && counters->size() != 24) {
    throw error(error_kind::storage, "database \"" + transaction.parent().path().string() +
                                         "\": the counters are damaged");
  }
  return counters;
}

std::unique_ptr<write_state> read_counters(store_transaction const& transaction) {
  auto state = std::make_unique<write_state>();
  if (std::optional<byte_view> const counters = stored_counters(transaction)) {
    state->next_block = get<std::uint64_t>(counters->data());
    state->next_index = get<std::uint64_t>(counters->data() + 8);
    state->next_layout = get<std::uint64_t>(counters->data() + 16);
  }
  return state;
}

}  // namespace

context::context(std::shared_ptr<database_state> database, store_access access,
                 std::chrono::milliseconds writer_wait)
    : database_(std::move(database)), transaction_(database_->storage, access, writer_wait) {
  if (access == store_access::write) {
    schema_ = database_->read_schema(transaction_);
    writer_ = read_counters(transaction_);
  } else {
    begin_snapshot();
  }
  place_ = &enter_context(*this);
}

context::~context() {
  if (place_) leave_context(*place_);
  close_cursors();
  if (transaction_.lost()) database_->keep_open(database_);
}

// Forgets what was read of another snapshot.
void context::begin_snapshot() {
  if (schema_ && blocks_.snapshot_id() == transaction_.id()) return;
  last_index_ = nullptr;
  schema_.reset();
  recent_ = {no_block, nullptr, nullptr};
  next_block_ = 0;
  blocks_.begin(transaction_.id());
  schema_ = database_->read_schema(transaction_);
}

std::shared_ptr<database_state> context::put_to_sleep() noexcept {
  leave_context(*place_);
  place_ = nullptr;
  forget_iterators();
  for (auto& spare : spare_iterators_) {
    if (spare.size() > most_spare_iterators) spare.resize(most_spare_iterators);
  }
  if (lent_.size() > most_lent_words) lent_ = {};
  transaction_.reset();
  return std::move(database_);
}

void context::wake(std::shared_ptr<database_state> database) {
  database_ = std::move(database);
  transaction_.renew();
  ++life_;
  begin_snapshot();
  place_ = &enter_context(*this);
}

void context::bind_to_calling_thread() {
  place_->owner.store(&thread_mark, std::memory_order_relaxed);
}

unsigned char const* context::read_block(std::uint64_t number) {
  if (writer_) {
    auto const dirty = writer_->dirty.find(number);
    if (dirty != writer_->dirty.end()) return dirty->second.editor.image();
  }
  unsigned char key[8];
  put_big_endian(key, number);
  std::optional<byte_view> const image = transaction_.get(keyspace::blocks, key);
  if (!image) return absent_block;
  bool const was_given_out = writer_ || number < next_block();
  if (!was_given_out || !is_block(*image, number, *schema_)) {
    throw error(error_kind::storage, "block " + std::to_string(number) + " is damaged");
  }
  if (!writer_) blocks_.remember(number, image->data());
  return image->data();
}

// Blocks from here on were never given out; one that is stored all the same is damage, and must not
// make the table of blocks as large as its number.
std::uint64_t context::next_block() {
  if (next_block_ == 0) {
    std::optional<byte_view> const counters = stored_counters(transaction_);
    next_block_ = counters ? get<std::uint64_t>(counters->data()) : 1;
  }
  return next_block_;
}

void context::locate_anew(std::uint64_t number) {
  recent_.number = no_block;
  recent_.image = block(number);
  recent_.layout = schema_->find_layout(block_layout(recent_.image));
  if (!writer_) recent_.number = number;
}

void context::prefetch(std::uint64_t oid, std::uint16_t layout_id) {
  unsigned char const* const image = block(block_of(oid));
  __builtin_prefetch(image);
  layout const* const layout = schema_->find_layout(layout_id);
  if (!layout) return;
  __builtin_prefetch(record_view{image, layout, oid}.record());
  if (records_with_strings_ == 0) return;
  --records_with_strings_;
  prefetch_strings(image, *layout, record_of(oid));
}

unsigned int context::open_iterator(std::uint64_t index_id, unsigned int flags,
                                    unsigned char const* first, unsigned char const* last,
                                    unsigned long& handle) {
  index const* const index = find_index(index_id);
  if (!index) return status_unknown_index;
  bool const descending = flags & VELA_ITERATE_DESCENDING;
  bool const first_inclusive = flags & VELA_ITERATE_FIRST_INCLUSIVE;
  bool const last_inclusive = flags & VELA_ITERATE_LAST_INCLUSIVE;
  bool const low_inclusive = descending ? last_inclusive : first_inclusive;
  bool const high_inclusive = descending ? first_inclusive : last_inclusive;
  if (free_iterators_.empty() && !add_iterator_place()) return status_too_many_iterators;
  bool const extent = index->definition.extent;
  std::unique_ptr<kernel_iterator> iterator = new_iterator(extent);
  key_range& range = iterator->range();
  key_status const low_status =
      decode_bound(descending ? last : first, index->definition.columns,
                   low_inclusive ? bound_side::before : bound_side::after, range.low);
  key_status const high_status =
      decode_bound(descending ? first : last, index->definition.columns,
                   high_inclusive ? bound_side::after : bound_side::before, range.high);
  if (low_status != key_status::good || high_status != key_status::good) {
    spare_iterators_[extent].push_back(std::move(iterator));
    return status_bad_key;
  }
  iterator->start(*index, descending);
  std::uint32_t const position = free_iterators_.back();
  free_iterators_.pop_back();
  open_place& place = iterators_[position];
  place.iterator = std::move(iterator);
  place.extent = extent;
  place.handle = (++place_->iterators << position_bits | position) << place_bits |
                 place_of_handle(this->handle());
  handle = place.handle;
  return status_ok;
}

// Returns false when there are as many places as can be.
bool context::add_iterator_place() {
  if (iterators_.size() == most_iterators) return false;
  if (iterators_.size() == iterators_.capacity()) iterators_.reserve(2 * iterators_.size() + 8);
  // Room for every position, and for every iterator to come back, so that closing one cannot fail.
  free_iterators_.reserve(iterators_.capacity());
  for (auto& spare : spare_iterators_) spare.reserve(iterators_.capacity());
  free_iterators_.push_back(static_cast<std::uint32_t>(iterators_.size()));
  iterators_.emplace_back();
  return true;
}

// One index is opened again and again, once for every left row of a join.
index const* context::find_index(std::uint64_t id) {
  if (!last_index_ || last_index_->definition.id != id) last_index_ = schema_->find_index(id);
  return last_index_;
}

std::unique_ptr<kernel_iterator> context::new_iterator(bool extent) {
  std::vector<std::unique_ptr<kernel_iterator>>& spare = spare_iterators_[extent];
  if (!spare.empty()) {
    std::unique_ptr<kernel_iterator> iterator = std::move(spare.back());
    spare.pop_back();
    return iterator;
  }
  if (extent) return std::make_unique<extent_iterator>(*this);
  return std::make_unique<entry_iterator>(*this);
}

kernel_iterator* context::find_iterator(unsigned long handle) {
  std::size_t const position = position_of_handle(handle);
  if (position >= iterators_.size() || iterators_[position].handle != handle) return nullptr;
  return iterators_[position].iterator.get();
}

bool context::close_iterator(unsigned long handle) noexcept {
  if (!find_iterator(handle)) return false;
  std::size_t const position = position_of_handle(handle);
  open_place& place = iterators_[position];
  place.handle = 0;
  spare_iterators_[place.extent].push_back(std::move(place.iterator));
  free_iterators_.push_back(static_cast<std::uint32_t>(position));
  return true;
}

void context::forget_iterators() noexcept {
  for (open_place& place : iterators_) {
    if (place.handle != 0) close_iterator(place.handle);
  }
}

void context::close_cursors() noexcept {
  iterators_.clear();
  free_iterators_.clear();
  spare_iterators_[0].clear();
  spare_iterators_[1].clear();
  if (writer_) writer_->unique_cursors.clear();
}

unsigned char* context::lend(std::size_t size) {
  if (lent_.size() * sizeof lent_[0] < size) lent_.resize(size / sizeof lent_[0] + 1);
  return reinterpret_cast<unsigned char*>(lent_.data());
}

context& usable_context(unsigned long handle) {
  unsigned int status = status_ok;
  context* const found = find_context(handle, status);
  switch (status) {
    case status_ok:
      return *found;
    case status_stopped:
      throw error(error_kind::stopped, "the context was asked to stop");
    case status_wrong_thread:
      throw error(error_kind::bad_transaction, "the context belongs to another thread");
    default:
      throw error(error_kind::bad_transaction, "the context has ended");
  }
}

}  // namespace qd::coredb
