// This project, through its SQL library, over the embedded kernel.
#include <stdexcept>

#include "queries/engine.h"
#include "sql/connection.h"
#include "sql_executor/value.h"

namespace bench {

namespace {

using qd::sql::kind;

class own_query final : public prepared_query {
 public:
  own_query(qd::sql::statement statement) : statement_(std::move(statement)) {}

  std::uint64_t run(parameters const& values) override {
    bind(values);
    std::uint64_t count = 0;
    std::uint64_t sum = 0;
    while (statement_.step()) {
      for (qd::sql::value const& content : statement_.row()) sum += read(content);
      ++count;
    }
    statement_.reset();
    sum_ = sum_ + sum;
    return count;
  }

  std::vector<row> rows(parameters const& values) override {
    bind(values);
    std::vector<row> result;
    while (statement_.step()) {
      row& current = result.emplace_back();
      for (qd::sql::value const& content : statement_.row()) current.push_back(as_cell(content));
    }
    statement_.reset();
    return result;
  }

  std::string plan(parameters const&) override { return statement_.plan_text(); }

 private:
  void bind(parameters const& values) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      std::visit(
          [&](auto number) { statement_.bind(i + 1, qd::sql::value(long_or_double(number))); },
          values[i]);
    }
  }
  static long long_or_double(std::int64_t number) { return number; }
  static double long_or_double(double number) { return number; }

  // Reads a value as the engine hands it over: a text in its packed form, which is what it compares
  // and stores.
  static std::uint64_t read(qd::sql::value const& content) {
    using qd::sql_executor::get_if;
    if (auto const* number = get_if<long>(&content)) return static_cast<std::uint64_t>(*number);
    if (auto const* text = get_if<db_string::dt_string>(&content)) {
      return text->size() > 0 ? text->data()[text->size() - 1] : 0;
    }
    if (auto const* number = get_if<operator_library::Decimal>(&content)) {
      return static_cast<std::uint64_t>(number->scaled);
    }
    if (auto const* number = get_if<double>(&content)) return *number > 0;
    return content.index();
  }

  static cell as_cell(qd::sql::value const& content) {
    using qd::sql_executor::get_if;
    if (auto const* number = get_if<long>(&content)) return std::int64_t{*number};
    if (auto const* number = get_if<unsigned long>(&content)) {
      return static_cast<std::int64_t>(*number);
    }
    if (auto const* number = get_if<double>(&content)) return *number;
    if (auto const* number = get_if<operator_library::Decimal>(&content)) {
      return decimal_cell{number->scaled};
    }
    if (qd::sql_executor::holds_alternative<db_string::dt_string>(content)) {
      return qd::sql::utf8_text(content);
    }
    if (qd::sql_executor::holds_alternative<operator_library::NullValue>(content)) return {};
    throw std::runtime_error("a result of a kind that the harness does not read");
  }

  qd::sql::statement statement_;
  std::uint64_t volatile sum_ = 0;
};

class own_engine final : public engine {
 public:
  std::string name() const override { return "qd"; }
  std::string version() const override { return QD_VERSION; }

  void load(tables const&, std::filesystem::path const& t_csv, std::filesystem::path const& u_csv,
            std::vector<std::string> const& indexes) override {
    connection_.execute(
        "CREATE TABLE T (id bigint, k bigint, grp bigint, price numeric, disc numeric, "
        "tax numeric, ratio double precision, name text, note text, uref bigint)");
    connection_.execute("CREATE TABLE U (id bigint, label text, weight double precision)");
    for (std::string const& index : indexes) connection_.execute(create_index(index));
    connection_.execute("COPY T FROM '" + t_csv.string() + "' (FORMAT csv, HEADER)");
    connection_.execute("COPY U FROM '" + u_csv.string() + "' (FORMAT csv, HEADER)");
  }

  std::unique_ptr<prepared_query> prepare(std::string const& sql) override {
    return std::make_unique<own_query>(connection_.prepare(sql));
  }

 private:
  qd::sql::connection connection_ = qd::sql::connection::open_temporary();
};

}  // namespace

std::unique_ptr<engine> make_own_engine() {
  return std::make_unique<own_engine>();
}

}  // namespace bench
