#include "coredb/text_codec.h"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <compare>
#include <cstring>
#include <memory>
#include <vector>

#include "kernel/vela.h"

namespace qd::coredb {
namespace {

using bytes = std::vector<unsigned char>;

bytes densetext(std::u16string const& text, bool infinite = false) {
  std::string const packed = to_densetext(text, infinite);
  return {packed.begin(), packed.end()};
}

std::u16string text_of(bytes const& packed) {
  return to_text(packed.data(), packed.size());
}

// The significant bits of a densetext, one per character: an oracle that needs no masks.
std::string bits_of(bytes const& packed) {
  text_payload const payload = payload_of(packed.data(), packed.size());
  std::string bits;
  for (std::size_t i = 0; i < payload.bits; ++i) {
    bits += payload.data[i / 8] >> (7 - i % 8) & 1 ? '1' : '0';
  }
  return bits;
}

std::string payload_bytes(bytes const& packed) {
  text_payload const payload = payload_of(packed.data(), packed.size());
  return {reinterpret_cast<char const*>(payload.data), payload.size};
}

// Texts whose units lie around the borders of the code classes, with runs of ASCII between them.
rc::Gen<std::u16string> any_text() {
  auto const unit = rc::gen::oneOf(
      rc::gen::inRange<int>('a', 'd'), rc::gen::inRange(0, 0x80), rc::gen::inRange(0x80, 0x800),
      rc::gen::element(0x7F, 0x80, 0x7FF, 0x800, 0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xFFFF));
  auto const piece = rc::gen::oneOf(
      rc::gen::map(unit, [](int u) { return std::u16string(1, static_cast<char16_t>(u)); }),
      rc::gen::element<std::u16string>(u"abcdefgh", u"0123456789abcdefghi"));
  return rc::gen::map(rc::gen::container<std::vector<std::u16string>>(piece), [](auto pieces) {
    std::u16string text;
    for (auto const& part : pieces) text += part;
    return text;
  });
}

TEST(TextCodec, LiteralBytes) {
  struct row {
    char const* name;
    std::u16string text;
    bool infinite;
    bytes packed;
  };
  row const rows[] = {
      {"empty", u"", false, {0x80}},
      {"above every text: 111", u"", true, {0x85, 0xE0}},
      {"ASCII is byte-aligned", u"az", false, {0x80, 0x61, 0x7A}},
      {"prefix az: its bytes, 111", u"az", true, {0x85, 0x61, 0x7A, 0xE0}},
      {"eight ASCII units",
       u"abcdefgh",
       false,
       {0x80, 0x61, 0x62, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68}},
      {"U+00E9: 10 00011101001", u"\u00E9", false, {0x83, 0x87, 0x48}},
      {"U+0080 and U+07FF", u"\u0080\u07FF", false, {0x86, 0x84, 0x05, 0xFF, 0xC0}},
      {"U+0800: 110 0000100000000000", u"\u0800", false, {0x85, 0xC1, 0x00, 0x00}},
      {"U+FFFF with the mark: 22 bits of one but the third",
       u"\uFFFF",
       true,
       {0x82, 0xDF, 0xFF, 0xFC}},
      {"a pair is two codes", u"\U0001F600", false, {0x82, 0xDB, 0x07, 0xBB, 0x78, 0x00}},
      {"U+0000", std::u16string(2, u'\0'), false, {0x80, 0x00, 0x00}},
  };
  for (row const& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(densetext(row.text, row.infinite), row.packed);
    EXPECT_EQ(text_of(row.packed), row.text);
  }
}

RC_GTEST_PROP(TextCodec, EveryTextRoundTripsAtEveryCapacity, ()) {
  std::u16string const text = *any_text();
  bool const infinite = *rc::gen::arbitrary<bool>();
  bytes const packed = densetext(text, infinite);
  RC_ASSERT(packed.size() == densetext_size(text, infinite));
  RC_ASSERT(packed.size() <= densetext_capacity(text.size()));
  RC_ASSERT(text_of(packed) == text);

  // Exact allocations, so that a byte too many is seen by a sanitizer or in the guard.
  std::size_t const fitting = *rc::gen::inRange<std::size_t>(0, packed.size() + 1);
  bytes cut(fitting + 1, 0xAA);
  RC_ASSERT(encode_text(text, infinite, cut.data(), fitting) == packed.size());
  RC_ASSERT(std::equal(cut.begin(), cut.begin() + fitting, packed.begin()));
  RC_ASSERT(cut.back() == 0xAA);

  std::size_t const units = *rc::gen::inRange<std::size_t>(0, text.size() + 1);
  std::u16string cut_text(units + 1, u'#');
  RC_ASSERT(decode_text(packed.data(), packed.size(), cut_text.data(), units) == text.size());
  RC_ASSERT(cut_text == text.substr(0, units) + u'#');
}

RC_GTEST_PROP(TextCodec, PackedOrderIsUnitOrder, ()) {
  std::u16string const common = *any_text();
  std::u16string const left_text = common + *any_text();
  std::u16string const right_text = common + *any_text();
  bytes const left = densetext(left_text);
  bytes const right = densetext(right_text);
  auto const expected = left_text <=> right_text;
  RC_ASSERT((bits_of(left) <=> bits_of(right)) == expected);
  // What index keys hold: whole bytes without the header.
  RC_ASSERT((payload_bytes(left) <=> payload_bytes(right)) == expected);
  RC_ASSERT(bits_of(right).starts_with(bits_of(left)) == right_text.starts_with(left_text));
  RC_ASSERT(bits_of(left).size() % 8 == 0 || (left.back() & ((1 << (left[0] & 7)) - 1)) == 0);
}

RC_GTEST_PROP(TextCodec, InfiniteMarkClosesThePrefixRange, ()) {
  std::u16string const prefix = *any_text();
  std::u16string const other = *rc::gen::oneOf(
      any_text(),
      rc::gen::map(any_text(), [&](std::u16string const& tail) { return prefix + tail; }));
  std::string const bound = payload_bytes(densetext(prefix, true));
  std::string const packed = payload_bytes(densetext(other));
  bool const within = other.starts_with(prefix);
  RC_ASSERT((packed < bound) == (within || other < prefix));
}

TEST(TextCodec, MalformedBytesDecodeToWhatIsComplete) {
  struct row {
    char const* name;
    bytes packed;
    std::u16string text;
  };
  row const rows[] = {
      {"no bytes", {}, u""},
      {"a header that never ends", {0x01, 0x02, 0x03}, u""},
      {"a header above the payload", {0x91, 0x61, 0x62}, u""},
      {"a header of two bytes, 1 * 128 + 8 bits unused",
       bytes{0x01, 0x88, 0x61, 0x62} /* 16 bits */, u""},
      {"leading header bytes of zero", {0x00, 0x00, 0x88, 0x61, 0x62}, u"a"},
      {"a header beyond 64 bits",
       {0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0x7F, 0xFF, 0x61},
       u""},
      {"a code cut short", {0x80, 0x61, 0xC1, 0x00}, u"a"},
      {"units behind the infinite mark", {0x80, 0x61, 0xE0, 0x61, 0x61}, u"a"},
  };
  for (row const& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(text_of(row.packed), row.text);
  }
}

RC_GTEST_PROP(TextCodec, AnyBytesDecodeWithinBounds, (std::vector<unsigned char> const& content)) {
  // An exact allocation: a read behind it is a fault.
  auto packed = std::make_unique<unsigned char[]>(content.size());
  std::copy(content.begin(), content.end(), packed.get());
  std::u16string const text = to_text(packed.get(), content.size());
  RC_ASSERT(text.size() <= text_capacity(content.size()));
  RC_ASSERT(decode_text(packed.get(), content.size(), nullptr, 0) == text.size());
}

TEST(TextFunctions, FollowTheTwoCallProtocol) {
  char16_t const text[] = u"h\u00E9llo \U0001F600\0behind";
  unsigned const size = vela_convert_ucs2_to_densetext(text, false, nullptr, 0);
  bytes packed(size + 1, 0xAA);
  ASSERT_EQ(vela_convert_ucs2_to_densetext(text, false, packed.data(), size), size);
  EXPECT_EQ(packed.back(), 0xAA);
  packed.pop_back();
  EXPECT_EQ(packed, densetext(u"h\u00E9llo \U0001F600")) << "the text ends at its zero unit";

  int const units = vela_convert_densetext_to_ucs2(packed.data(), size, nullptr, 0);
  ASSERT_EQ(units, 8);
  std::u16string decoded(units + 2, u'#');
  ASSERT_EQ(vela_convert_densetext_to_ucs2(packed.data(), size, decoded.data(), units + 1), units);
  EXPECT_EQ(decoded, std::u16string(u"h\u00E9llo \U0001F600") + u'\0' + u'#');

  std::u16string base(units + 1, u'#');
  ASSERT_EQ(vela_convert_densetext_to_base_ucs2(packed.data(), size, base.data(), units + 1),
            units);
  EXPECT_EQ(base, decoded.substr(0, units + 1));

  bytes specifier(8);
  ASSERT_EQ(vela_convert_ucs2_to_setspecdt(u"ab", true, specifier.data(), 8), 4u);
  specifier.resize(4);
  EXPECT_EQ(specifier, densetext(u"ab", true));
}

}  // namespace
}  // namespace qd::coredb
