// The example queries that join, group, sort and combine, against the text files.
#include <gmock/gmock.h>

#include <set>

#include "relational_queries.h"
#include "unicode_files.h"

namespace {

using namespace unicode_files;  // NOLINT: these tests are about them
using testing::ElementsAreArray;

class unicode_relational_test : public unicode_test {
 protected:
  // Query `number` of the relational ones, counted from 1.
  static std::vector<std::string> answer(std::size_t number) {
    return unicode_test::answer(unicode_demo::object_queries().size() + number);
  }
};

point const* find_point(std::string const& hexadecimal_code) {
  if (hexadecimal_code.empty()) return nullptr;
  auto const found = files().by_code.find(std::stoul(hexadecimal_code, nullptr, 16));
  return found == files().by_code.end() ? nullptr : &files().points[found->second];
}

TEST_F(unicode_relational_test, numbers_per_block_and_category) {
  struct group {
    long count = 0;
    long least = 0;
    long greatest = 0;
    long total = 0;
  };
  std::map<std::pair<std::string, std::string>, group> groups;
  for (point const& p : files().points) {
    std::optional<long> const number = scaled_number(p);
    if (!number) continue;
    group& of = groups[{text_files::find(files().blocks, p.code), p.category()}];
    of.least = of.count == 0 ? *number : std::min(of.least, *number);
    of.greatest = of.count == 0 ? *number : std::max(of.greatest, *number);
    of.total += *number;
    ++of.count;
  }
  std::vector<std::tuple<long, std::string, std::string, std::string>> sorted;
  for (auto const& [key, of] : groups) {
    sorted.emplace_back(
        -of.count, key.first, key.second,
        line({text(key.first), text(key.second), std::to_string(of.count), decimal(of.least),
              decimal(of.greatest), decimal(rounded(of.total, of.count))}));
  }
  std::sort(sorted.begin(), sorted.end());
  std::vector<std::string> expected;
  for (std::size_t i = 0; i < 12; ++i) expected.push_back(std::get<3>(sorted[i]));
  EXPECT_THAT(answer(1), ElementsAreArray(expected));
}

TEST_F(unicode_relational_test, fractions_by_value_and_name) {
  EXPECT_THAT(answer(2), ElementsAreArray(expected_lines(
                             [](point const& p) { return 0x2150 <= p.code && p.code <= 0x215E; },
                             [](point const& left, point const& right) {
                               auto const left_number = scaled_number(left);
                               auto const right_number = scaled_number(right);
                               if (left_number != right_number) return left_number < right_number;
                               return left.name() > right.name();
                             },
                             [](point const& p) {
                               return line({number(p), text(p.name()), code(p)});
                             })));
}

TEST_F(unicode_relational_test, code_points_of_blocks) {
  std::vector<std::string> expected;
  for (auto const& fields : files().blocks) {
    unsigned long const first = std::stoul(fields[0], nullptr, 16);
    unsigned long const last = std::stoul(fields[0].substr(fields[0].find("..") + 2), nullptr, 16);
    if (first >= 0x700) continue;
    long count = 0;
    for (point const& p : files().points) count += first <= p.code && p.code <= last;
    if (count == 0) continue;
    expected.push_back(line({std::to_string(first) + 'u', text(fields[1]), std::to_string(count)}));
  }
  EXPECT_THAT(answer(3), ElementsAreArray(expected));
}

TEST_F(unicode_relational_test, case_partners) {
  EXPECT_THAT(answer(4),
              ElementsAreArray(expected_lines(
                  [](point const& p) { return 0x1F70 <= p.code && p.code <= 0x1F80; }, by_code,
                  [](point const& p) {
                    point const* const partner = find_point(p.fields[12]);
                    if (!partner) return line({code(p), character(p.code), "NULL", "NULL", "NULL"});
                    return line({code(p), character(p.code), code(*partner),
                                 character(partner->code), text(partner->name())});
                  })));
}

TEST_F(unicode_relational_test, letters_of_two_scripts) {
  auto const letter = [](unsigned long code_point) {
    return line(
        {character(code_point), text(files().points[files().by_code.at(code_point)].name())});
  };
  std::vector<std::string> expected;
  for (unsigned long place = 0; place <= 6; ++place) {
    bool const both = 3 <= place;
    expected.push_back(
        line({letter(0x5D0 + place), both ? letter(0x10900 + place) : std::string("NULL | NULL")}));
  }
  for (unsigned long place = 7; place <= 9; ++place) {
    expected.push_back(line({"NULL", "NULL", letter(0x10900 + place)}));
  }
  EXPECT_THAT(answer(5), ElementsAreArray(expected));
}

TEST_F(unicode_relational_test, ends_of_the_code_space) {
  EXPECT_THAT(answer(6), ElementsAreArray(expected_lines(
                             [](point const& p) { return p.code < 3 || p.code > 0xE01EE; }, by_code,
                             [](point const& p) {
                               return line({code(p), text(p.category()), text(p.name())});
                             })));
}

TEST_F(unicode_relational_test, a_page_of_names) {
  std::vector<std::string> const all = expected_lines([](point const&) { return true; }, by_name,
                                                      [](point const& p) {
                                                        return line({text(p.name()), code(p)});
                                                      });
  EXPECT_THAT(answer(7), ElementsAreArray(all.begin() + 10'000, all.begin() + 10'005));
}

TEST_F(unicode_relational_test, distinct_counts) {
  long numbers = 0;
  std::set<std::string> categories;
  std::set<std::optional<long>> distinct_numbers;
  std::set<std::pair<std::string, std::string>> pairs;
  for (point const& p : files().points) {
    std::optional<long> const number = scaled_number(p);
    numbers += number.has_value();
    categories.insert(p.category());
    distinct_numbers.insert(number);
    pairs.emplace(p.category(), p.fields[4]);
  }
  auto const distinct = [](std::size_t count) { return std::to_string(count) + 'u'; };
  EXPECT_THAT(answer(8), testing::ElementsAre(
                             line({std::to_string(files().points.size()), std::to_string(numbers),
                                   distinct(categories.size()), distinct(distinct_numbers.size()),
                                   distinct(pairs.size())})));
}

TEST_F(unicode_relational_test, every_query_is_checked_here) {
  EXPECT_EQ(unicode_demo::relational_queries().size(), 8u);
}

}  // namespace
