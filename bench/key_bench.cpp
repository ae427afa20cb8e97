// Building index keys: what a join pays to start a scan of its right side, once per left row.
#include <benchmark/benchmark.h>

#include <vector>

#include "db_util/key_writer.h"

namespace {

using db_util::KeyBuf;
using db_util::KeyWriter;
using operator_library::Decimal;

// The three buffers, each made anew for every key.
struct on_stack {
  db_util::stack_key key;
  KeyWriter<db_util::stack_key&> writer{key};
  unsigned char const* bytes() { return key.data(); }
};

struct in_vector {
  std::vector<unsigned char> key;
  KeyWriter<std::vector<unsigned char>&> writer{key};
  unsigned char const* bytes() { return key.data(); }
};

struct in_fixed_buffer {
  alignas(8) unsigned char key[1024];
  KeyWriter<KeyBuf> writer{KeyBuf(key, sizeof key)};
  unsigned char const* bytes() { return key; }
};

// A densetext of that many payload bytes.
db_string::dt_string text_of(unsigned long payload_bytes) {
  std::vector<unsigned char> bytes(payload_bytes + 1, 'a');
  bytes[0] = 0x80;
  return {bytes.data(), bytes.size()};
}

// Models a lookup by an object's reference or number.
template <typename Target>
void number_key(benchmark::State& state) {
  unsigned long number = 0;
  for (auto _ : state) {
    Target target;
    target.writer.write_unsigned(++number);
    target.writer.UpdateHeader();
    benchmark::DoNotOptimize(target.bytes());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(number_key<on_stack>);
BENCHMARK(number_key<in_vector>);
BENCHMARK(number_key<in_fixed_buffer>);

// Models a range on the leading columns of an index over a text, a Decimal and a reference; the
// argument is the text's payload in bytes.
template <typename Target>
void composite_key(benchmark::State& state) {
  db_string::dt_string const text = text_of(static_cast<unsigned long>(state.range(0)));
  long scaled = 0;
  for (auto _ : state) {
    Target target;
    target.writer.write_string(text);
    target.writer.write_decimal(Decimal{scaled += 1'234'567});
    target.writer.write_null();
    target.writer.UpdateHeader();
    benchmark::DoNotOptimize(target.bytes());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(composite_key<on_stack>)->Arg(8)->Arg(31)->Arg(200)->Arg(2000);
BENCHMARK(composite_key<in_vector>)->Arg(8)->Arg(31)->Arg(200)->Arg(2000);
BENCHMARK(composite_key<in_fixed_buffer>)->Arg(8)->Arg(31)->Arg(200);

}  // namespace
