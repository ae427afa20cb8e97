#include "loader.h"

#include <vector>

#include "character_database.h"
#include "schema.h"

namespace unicode_demo {

using qd::embedded::inserter;
using qd::embedded::object_id;
using qd::embedded::transaction;
using qd::embedded::value;

namespace {

value integer_or_null(std::optional<unsigned> const& source) {
  return source ? value(*source) : value();
}
// The value is a view of the text.
value text_or_null(std::optional<std::u16string> const& source) {
  return source ? value(*source) : value();
}

// The code point as UTF-16; empty for what is no character of a text.
std::optional<std::u16string> utf16(char32_t code) {
  if (code == 0 || (0xD800 <= code && code <= 0xDFFF)) return std::nullopt;
  if (code <= 0xFFFF) return std::u16string(1, static_cast<char16_t>(code));
  char32_t const beyond = code - 0x10000;
  return std::u16string{static_cast<char16_t>(0xD800 + (beyond >> 10)),
                        static_cast<char16_t>(0xDC00 + (beyond & 0x3FF))};
}

// Stores a character_database in a transaction whose schema is defined.
class object_writer {
 public:
  object_writer(transaction& write, character_database const& source, progress_report const& report)
      : write_(write), source_(source), report_(report) {}

  void write_all() {
    write_sources();
    write_blocks();
    write_scripts();
    reserve_code_points();
    write_code_points();
  }

 private:
  void write_sources() {
    write_source(u"Blocks.txt", source_.blocks.list.size());
    write_source(u"Scripts.txt", source_.scripts.names.size());
    write_source(u"UnicodeData.txt", source_.code_points.size());
  }
  void write_source(char16_t const* file, std::size_t objects) {
    write_.insert(source_class, {{u"file", file}, {u"objects", objects}});
  }

  void write_blocks() {
    inserter blocks = write_.prepare_insert(block_class, {u"name", u"first", u"last"});
    for (block const& each : source_.blocks.list) {
      blocks_.push_back(blocks.insert(
          {each.name, std::uint64_t{each.range.first}, std::uint64_t{each.range.last}}));
    }
  }

  void write_scripts() {
    inserter scripts = write_.prepare_insert(script_class, {u"name"});
    for (std::u16string const& name : source_.scripts.names) {
      scripts_.push_back(scripts.insert({name}));
    }
  }

  // Code points refer to one another in both directions, so all get their ids first.
  void reserve_code_points() {
    std::vector<std::uint64_t> counts(categories().size());
    for (code_point const& point : source_.code_points) ++counts[point.category];
    std::vector<object_id> next(counts.size());
    for (std::size_t i = 0; i < counts.size(); ++i) {
      if (counts[i] == 0) continue;
      next[i] = write_.reserve_oids(categories()[i].class_name, counts[i]);
    }
    code_points_.reserve(source_.code_points.size());
    for (code_point const& point : source_.code_points) {
      code_points_.push_back(next[point.category]);
      ++next[point.category].oid;
    }
  }

  void write_code_points() {
    std::vector<inserter> inserters;
    for (category const& each : categories()) {
      inserters.push_back(write_.prepare_insert(each.class_name, columns_of(each)));
    }
    std::vector<value> row;
    for (std::size_t i = 0; i < source_.code_points.size(); ++i) {
      if (i % 1000 == 0) report_("Storing code points", i, source_.code_points.size());
      code_point const& point = source_.code_points[i];
      std::optional<std::u16string> const character = utf16(point.code);
      std::u16string const code(categories()[point.category].code.begin(),
                                categories()[point.category].code.end());
      row.clear();
      row.insert(row.end(), {std::uint64_t{point.code}, text_or_null(character), point.name, code,
                             point.combining_class, point.bidi_class,
                             text_or_null(point.decomposition), decimal_or_null(point.numeric),
                             point.numeric ? value(point.numeric->text) : value(), point.mirrored,
                             text_or_null(point.old_name), text_or_null(point.comment),
                             reference_or_null(source_.blocks.ranges.find(point.code), blocks_),
                             reference_or_null(source_.scripts.ranges.find(point.code), scripts_),
                             reference_or_null(point.uppercase, code_points_),
                             reference_or_null(point.lowercase, code_points_),
                             reference_or_null(point.titlecase, code_points_)});
      if (categories()[point.category].group == number_class) {
        row.push_back(integer_or_null(point.decimal_digit));
        row.push_back(integer_or_null(point.digit));
      }
      inserters[point.category].insert_reserved(code_points_[i], row);
    }
    report_("Storing code points", source_.code_points.size(), source_.code_points.size());
  }

  // In the order in which write_code_points gives the values.
  static std::vector<std::u16string_view> columns_of(category const& of) {
    std::vector<std::u16string_view> columns = {
        u"code",       u"character",     u"name",          u"category",     u"combining_class",
        u"bidi_class", u"decomposition", u"numeric_value", u"numeric_text", u"mirrored",
        u"old_name",   u"comment",       u"block",         u"script",       u"uppercase",
        u"lowercase",  u"titlecase"};
    if (of.group == number_class) {
      columns.push_back(u"decimal_digit");
      columns.push_back(u"digit");
    }
    return columns;
  }

  static value decimal_or_null(std::optional<numeric_value> const& source) {
    if (!source || !source->scaled) return {};
    return qd::embedded::decimal{*source->scaled};
  }
  static value reference_or_null(std::optional<std::size_t> position,
                                 std::vector<object_id> const& objects) {
    return position ? value(objects[*position]) : value();
  }

  transaction& write_;
  character_database const& source_;
  progress_report const& report_;
  std::vector<object_id> blocks_;       // As source_.blocks.list.
  std::vector<object_id> scripts_;      // As source_.scripts.names.
  std::vector<object_id> code_points_;  // As source_.code_points.
};

}  // namespace

bool is_loaded(qd::embedded::read_context const& context) {
  return context.has_class(code_point_class);
}

void load(qd::embedded::database& data, std::filesystem::path const& directory,
          progress_report const& report) {
  report("Reading text files", 0, 1);
  character_database const source = read_character_database(directory);
  report("Reading text files", 1, 1);
  transaction write = data.begin_write();
  if (is_loaded(write)) drop_schema(write);
  define_schema(write);
  object_writer(write, source, report).write_all();
  report("Committing", 0, 1);
  write.commit();
  report("Committing", 1, 1);
}

}  // namespace unicode_demo
