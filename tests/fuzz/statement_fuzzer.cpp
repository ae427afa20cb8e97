// Scripts of any bytes go through everything from the parser to the rows. Nothing may crash, hang
// or throw anything but sql::error, and the database must be sound afterwards.
#include <array>
#include <cmath>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <variant>

#include "sql/connection.h"
#include "sql/parse/parse.h"

namespace {

using namespace qd;
using namespace std::chrono_literals;

constexpr char const* schema = R"(
  CREATE TABLE country (code text NOT NULL, name text, area numeric, UNIQUE (code));
  CREATE TABLE place (name text, inhabitants bigint);
  CREATE TABLE city (country country REFERENCES country(code), capital boolean, height double precision,
                     number unsigned, seal bytea) INHERITS (place);
  CREATE TABLE t (a bigint, b bigint, c text, d numeric, e real);
  CREATE INDEX t_ab ON t (a, b DESC);
  CREATE INDEX t_c ON t (c);
  CREATE INDEX place_n ON place (name, inhabitants);
  CREATE INDEX city_c ON city (country);
  INSERT INTO country VALUES ('ch', 'Schweiz', 41285.5), ('fr', 'France', NULL), ('is', NULL, 103000);
  INSERT INTO place VALUES ('Nowhere', 0), (NULL, NULL);
  INSERT INTO city (name, inhabitants, country, capital, height, number, seal) VALUES
    ('Bern', 134591, 'ch', TRUE, 540.0e0, 18446744073709551615, x'00ff'),
    ('Paris', 2102650, 'fr', TRUE, 28e0, 75000, x''),
    ('Lyon', 522250, 'fr', FALSE, 173e0, 69000, NULL),
    ('Atlantis', NULL, NULL, NULL, NULL, NULL, NULL);
  INSERT INTO t VALUES (1, 1, 'a', 1.5, 1.0), (1, 2, 'ab', -0.000001, -0.5), (2, NULL, 'abc', NULL, NULL),
    (NULL, 3, NULL, 4398046511103.999999, 3), (-9223372036854775808, 9223372036854775807, '', 0, 0);
)";

// Interrupts the statements of a connection that run long, over and over until they end.
class watchdog {
 public:
  watchdog() : thread_([this] { watch(); }) {}
  ~watchdog() {
    {
      std::lock_guard const lock(mutex_);
      ending_ = true;
    }
    changed_.notify_one();
    thread_.join();
  }
  void guard(sql::connection* connection) {
    std::lock_guard const lock(mutex_);
    guarded_ = connection;
    changed_.notify_one();
  }

 private:
  void watch() {
    std::unique_lock lock(mutex_);
    while (!ending_) {
      if (guarded_ == nullptr) {
        changed_.wait(lock);
      } else if (changed_.wait_for(lock, 100ms) == std::cv_status::timeout && guarded_ != nullptr) {
        guarded_->interrupt();
      }
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  sql::connection* guarded_ = nullptr;
  bool ending_ = false;
  std::thread thread_;
};

[[noreturn]] void fail(std::string const& text) {
  std::fprintf(stderr, "%s\n", text.c_str());
  std::abort();
}

void bind_parameters(sql::statement& statement) {
  std::array<sql::value, 7> const values = {
      5L,        sql_executor::value(operator_library::NullValue()),
      1UL << 63, std::numeric_limits<double>::quiet_NaN(),
      true,      operator_library::Decimal{2'500'000},
      -0.0F};
  for (std::size_t number = 1; number <= statement.parameter_count(); ++number) {
    if (number % 8 == 2) {
      statement.bind_text(number, "ab");
    } else {
      statement.bind(number, values[number % values.size()]);
    }
  }
}

void run(sql::connection& connection, std::string_view text) {
  constexpr int most_rows = 200;
  try {
    // Files belong to nobody here.
    if (std::holds_alternative<sql::syntax::copy>(sql::parse(text).content)) return;
    sql::statement statement = connection.prepare(text);
    bind_parameters(statement);
    for (int rows = 0; rows < most_rows && statement.step(); ++rows) {
      for (std::size_t column = 0; column < statement.columns().size(); ++column) {
        statement.text(column);
      }
    }
  } catch (sql::error const& refused) {
    if (refused.position() != sql::no_position && refused.position() > text.size()) {
      fail(std::string("the place is outside the statement: ") + refused.what());
    }
  }
}

struct database {
  database() { connection.execute(schema); }
  sql::connection connection = sql::connection::open_temporary();
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  static std::optional<database> shared;
  static watchdog dog;
  if (!shared) shared.emplace();
  sql::connection& connection = shared->connection;

  connection.execute("BEGIN");
  dog.guard(&connection);
  std::string_view const script(reinterpret_cast<char const*>(data), size);
  try {
    for (sql::script_part const& part : sql::split(script)) run(connection, part.text);
  } catch (sql::error const&) {
    // The script as a whole is refused: it is not UTF-8.
  }
  dog.guard(nullptr);

  if (connection.in_transaction()) {
    connection.execute("ROLLBACK");
    static int rounds = 0;
    if (++rounds % 256 != 0) return 0;
  }
  auto const faults = connection.check();
  if (!faults.empty()) fail("the database is damaged: " + faults.front());
  shared.reset();  // The script has ended the transaction, and may have changed anything.
  return 0;
}
