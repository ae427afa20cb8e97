// Strings in the embedded kernel's encoding: what the engine reads off packed bytes must be what
// the texts say.
#include <gtest/gtest.h>

#include <random>

#include "db_string/densetext.h"
#include "db_string/dt_string.h"
#include "dbmetalayer/database.h"

namespace {

using db_string::densetext_payload;
using db_string::dt_string;

// Texts over an alphabet with units of every code length, of 0 to 12 units, so that many begin with
// one another. No zero unit, which would end them.
std::u16string random_text(std::mt19937& random) {
  constexpr char16_t alphabet[] = {u'\u0001', u'a',   u'b',   u'\u007F', u'\u0080', u'\u07FF',
                                   u'\u0800', 0xD800, 0xDC00, 0xDFFF,    u'\uFFFF'};
  unsigned long const letters = random() % 2 == 0 ? 2 : std::size(alphabet);
  std::u16string text(random() % 13, u' ');
  for (char16_t& unit : text) unit = alphabet[random() % letters];
  return text;
}

densetext_payload payload_of(dt_string const& string) {
  return db_string::read_densetext(string.data(), string.size());
}

long order(dt_string const& left, dt_string const& right) {
  return DenseText4Compare(left.data(), left.size(), right.data(), right.size());
}

TEST(embedded_text, packed_bytes_tell_prefix_order_and_equality) {
  qd::embedded::database data = qd::embedded::database::open_temporary();
  qd::embedded::snapshot view = data.begin_snapshot();
  auto const binding = view.bind();
  std::mt19937 random(20261122);
  int prefixes = 0;
  for (int round = 0; round < 20'000; ++round) {
    std::u16string const text = random_text(random);
    std::u16string const other = random_text(random);
    dt_string const packed(text, false);
    dt_string const other_packed(view.context(), other, false);
    ASSERT_EQ(packed.string(), text);
    ASSERT_EQ(other_packed.string(view.context()), other);
    ASSERT_EQ(packed == other_packed, text == other);
    bool const begins = text.starts_with(other);
    prefixes += begins ? 1 : 0;
    ASSERT_EQ(db_string::starts_with(payload_of(packed), payload_of(other_packed)), begins);
    long const expected_order = text.compare(other);
    ASSERT_EQ(order(packed, other_packed) < 0, expected_order < 0);
    ASSERT_EQ(order(packed, other_packed) > 0, expected_order > 0);

    // Above every text that begins with it, below every other greater one.
    VELA_VALUE const lent{other_packed.size(), other_packed.data()};
    dt_string const upper_end(lent, dt_string::Infinite());
    ASSERT_EQ(order(packed, upper_end) < 0, begins || text < other);
    ASSERT_EQ(upper_end, dt_string(view.context(), other, true));
  }
  EXPECT_GT(prefixes, 1'000);
}

}  // namespace
