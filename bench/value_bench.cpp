// What values cost without storage: comparison of kinds, Decimal arithmetic, LIKE, string order.
#include <benchmark/benchmark.h>

#include <array>
#include <random>
#include <vector>

#include "like/like.h"
#include "sql_executor/operators/arithmetic_functions.h"
#include "sql_executor/operators/comparison.h"

namespace {

using operator_library::Decimal;
using qd::sql_executor::value;
using namespace qd::sql_executor::utils;

constexpr std::size_t operand_count = 1024;  // Fits the first-level cache; a power of two.

// Numbers between -1,000,000 and 1,000,000 with a fraction where the kind has one: the mixture of a
// column and a literal of another kind.
value number_of_kind(int kind, std::mt19937_64& random) {
  long const millionths = static_cast<long>(random() % 2'000'000'000'000) - 1'000'000'000'000;
  switch (kind) {
    case 0:
      return millionths > 0;
    case 2:
      return static_cast<unsigned long>(std::abs(millionths)) / Decimal::scale;
    case 3:
      return millionths / Decimal::scale;
    case 4:
      return Decimal{millionths};
    case 5:
      return static_cast<double>(millionths) / 1e6;
    default:
      return static_cast<float>(millionths) / 1e6F;
  }
}

std::vector<value> numbers_of_kind(int kind, unsigned seed) {
  std::mt19937_64 random(seed);
  std::vector<value> numbers;
  for (std::size_t i = 0; i < operand_count; ++i) numbers.push_back(number_of_kind(kind, random));
  return numbers;
}

// A filter `column < column` for one pair of kinds.
void compare_kinds(benchmark::State& state) {
  std::vector<value> const left = numbers_of_kind(static_cast<int>(state.range(0)), 1);
  std::vector<value> const right = numbers_of_kind(static_cast<int>(state.range(1)), 2);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(compare<relation::less_than>(left[i], right[i]));
    i = (i + 1) % operand_count;
  }
}
BENCHMARK(compare_kinds)
    ->ArgNames({"left", "right"})
    ->ArgsProduct({{0, 2, 3, 4, 5, 6}, {0, 2, 3, 4, 5, 6}});

// A price times a quantity and the like: products and quotients that need rounding.
template <typename Operation>
void decimal_arithmetic(benchmark::State& state) {
  std::mt19937_64 random(3);
  std::vector<Decimal> left;
  std::vector<Decimal> right;
  for (std::size_t i = 0; i < operand_count; ++i) {
    left.push_back(Decimal{static_cast<long>(random() % 1'000'000'000'000)});
    right.push_back(Decimal{1 + static_cast<long>(random() % 1'000'000'000)});
  }
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(Operation::apply(left[i], right[i]));
    i = (i + 1) % operand_count;
  }
}
BENCHMARK(decimal_arithmetic<sum_of>);
BENCHMARK(decimal_arithmetic<product_of>);
BENCHMARK(decimal_arithmetic<quotient_of>);

// A name column against the usual shapes of a pattern: prefix, substring, one unknown character,
// and several parts.
void like_match(benchmark::State& state) {
  constexpr std::array<char16_t const*, 4> patterns = {
      u"LATIN SMALL%", u"%WITH%", u"LATIN _APITAL LETTER _", u"%L%TTER%AC_TE%"};
  std::vector<std::u16string> const names = {u"LATIN SMALL LETTER A WITH ACUTE",
                                             u"LATIN CAPITAL LETTER Q",
                                             u"MATHEMATICAL BOLD ITALIC SMALL EPSILON SYMBOL",
                                             u"CJK UNIFIED IDEOGRAPH-4E00",
                                             u"HANGUL SYLLABLE TYEOLM",
                                             u"\U0001F600 GRINNING FACE WITH ROUND EYES"};
  std::u16string_view const pattern = patterns[static_cast<std::size_t>(state.range(0))];
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(like::Match(names[i], pattern));
    i = i + 1 == names.size() ? 0 : i + 1;
  }
}
BENCHMARK(like_match)->ArgName("pattern")->DenseRange(0, 3);

// The order of two packed texts that differ at their last byte: a sort's or a merge's comparison.
void densetext_compare(benchmark::State& state) {
  std::vector<unsigned char> left(static_cast<std::size_t>(state.range(0)), 0x40);
  left.front() = 0x80;
  std::vector<unsigned char> right = left;
  right.back() = 0x41;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        DenseText4Compare(left.data(), left.size(), right.data(), right.size()));
  }
}
BENCHMARK(densetext_compare)->ArgName("bytes")->Arg(9)->Arg(33)->Arg(257);

}  // namespace
