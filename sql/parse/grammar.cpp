#include "sql/parse/grammar.h"

#include <pg_query.h>
#include <pthread.h>

#include <array>
#include <exception>
#include <memory>
#include <memory_resource>
#include <new>
#include <string>

#include "sql/error.h"

namespace qd::sql {

namespace {

// The grammar's recursions take up to 1.3 KB per level of the tree (measured at 8 MiB: they end at
// about 8,000 levels).
constexpr std::size_t stack_bytes_per_level = 2048;
// On a stack of 8 MiB that the caller has begun to use.
constexpr std::size_t most_levels_on_callers_stack = 1500;
constexpr std::size_t most_levels = 100'000;
constexpr std::size_t large_stack_bytes = most_levels * stack_bytes_per_level;

// The byte at which the character of that number, from 1, begins.
text_position byte_of_character(std::string_view text, int character) {
  std::size_t position = 0;
  for (int passed = 1; passed < character && position < text.size(); ++passed) {
    do ++position;
    while (position < text.size() && (text[position] & 0xC0) == 0x80);
  }
  return static_cast<text_position>(position);
}

[[noreturn]] void raise(PgQueryError const& refusal, std::string_view text) {
  std::string const message = refusal.message;
  text_position const place =
      refusal.cursorpos > 0 ? byte_of_character(text, refusal.cursorpos) : no_position;
  bool const too_deep = message.starts_with("memory exhausted");
  throw error(too_deep ? error_code::limit_exceeded : error_code::syntax,
              too_deep ? "the statement nests too deep" : message, place);
}

// The unpacked tree stands in an arena: freeing it node by node would take as long as unpacking.
void* allocate(void* arena, std::size_t bytes) {
  try {
    return static_cast<std::pmr::memory_resource*>(arena)->allocate(bytes);
  } catch (std::bad_alloc const&) {
    return nullptr;  // The C code that calls makes a null tree of it.
  }
}
void keep_until_the_arena_ends(void*, void*) {}

void parse_and_use(std::string_view text,
                   std::function<void(PgQuery__ParseResult const&)> const& use) {
  struct parse_result : PgQueryProtobufParseResult {
    explicit parse_result(std::string const& terminated)
        : PgQueryProtobufParseResult(pg_query_parse_protobuf(terminated.c_str())) {}
    parse_result(parse_result const&) = delete;
    parse_result& operator=(parse_result const&) = delete;
    ~parse_result() { pg_query_free_protobuf_parse_result(*this); }
  };
  parse_result const parsed{std::string(text)};
  if (parsed.error != nullptr) raise(*parsed.error, text);

  alignas(std::max_align_t) std::array<std::byte, 8192> first_block;
  std::pmr::monotonic_buffer_resource arena(first_block.data(), first_block.size());
  ProtobufCAllocator allocator{allocate, keep_until_the_arena_ends, &arena};
  auto const* const tree = pg_query__parse_result__unpack(
      &allocator, parsed.parse_tree.len,
      reinterpret_cast<unsigned char const*>(parsed.parse_tree.data));
  if (tree == nullptr) throw std::bad_alloc();
  use(*tree);
}

// Work for the thread with the large stack.
struct deep_work {
  std::string_view text;
  std::function<void(PgQuery__ParseResult const&)> const& use;
  std::exception_ptr failure;
};

void* do_deep_work(void* argument) {
  auto& work = *static_cast<deep_work*>(argument);
  try {
    parse_and_use(work.text, work.use);
  } catch (...) {
    work.failure = std::current_exception();
  }
  return nullptr;
}

void on_large_stack(deep_work& work) {
  pthread_attr_t attributes;
  if (pthread_attr_init(&attributes) != 0) throw std::bad_alloc();
  pthread_t thread;
  bool const started = pthread_attr_setstacksize(&attributes, large_stack_bytes) == 0 &&
                       pthread_create(&thread, &attributes, do_deep_work, &work) == 0;
  pthread_attr_destroy(&attributes);
  if (!started) {
    throw error(error_code::limit_exceeded, "there is no memory for parsing a deep statement");
  }
  pthread_join(thread, nullptr);
  if (work.failure) std::rethrow_exception(work.failure);
}

}  // namespace

void with_grammar_tree(std::string_view text, std::size_t depth_bound,
                       std::function<void(PgQuery__ParseResult const&)> const& use) {
  if (depth_bound > most_levels) {
    throw error(error_code::limit_exceeded, "the statement has a chain of more than " +
                                                std::to_string(most_levels) +
                                                " names and operators");
  }
  if (depth_bound <= most_levels_on_callers_stack) {
    parse_and_use(text, use);
  } else {
    deep_work work{text, use, nullptr};
    on_large_stack(work);
  }
}

}  // namespace qd::sql
