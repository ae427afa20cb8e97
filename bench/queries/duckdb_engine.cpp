// DuckDB, in memory, one thread, through its shared library.
#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "queries/duckdb_api.h"
#include "queries/engine.h"

namespace bench {

namespace {

using duckdb::api;

[[noreturn]] void fail(char const* what) {
  throw std::runtime_error(std::string("DuckDB: ") + (what ? what : "unknown error"));
}

// A result of one run.
class duckdb_result {
 public:
  explicit duckdb_result(api const& functions) : functions_(functions) {}
  ~duckdb_result() { functions_.destroy_result(&result_); }
  duckdb_result(duckdb_result const&) = delete;
  duckdb_result& operator=(duckdb_result const&) = delete;

  duckdb::result* get() { return &result_; }

 private:
  api const& functions_;
  duckdb::result result_{};
};

bool is_valid(std::uint64_t const* validity, duckdb::index row) {
  return !validity || (validity[row / 64] >> (row % 64) & 1) != 0;
}

class duckdb_query final : public prepared_query {
 public:
  duckdb_query(api const& functions, duckdb::connection connection, std::string const& sql)
      : functions_(functions), connection_(connection), sql_(sql) {
    if (functions_.prepare(connection, sql.c_str(), &statement_) != duckdb::success) {
      std::string const why = functions_.prepare_error(statement_);
      functions_.destroy_prepare(&statement_);
      fail((sql + ": " + why).c_str());
    }
  }
  ~duckdb_query() override { functions_.destroy_prepare(&statement_); }

  std::uint64_t run(parameters const& values) override {
    std::uint64_t count = 0;
    execute(values, [&](duckdb::result& result, duckdb::data_chunk chunk, duckdb::index size) {
      duckdb::index const columns = functions_.column_count(&result);
      for (duckdb::index column = 0; column < columns; ++column) {
        read(functions_.data_chunk_get_vector(chunk, column),
             functions_.column_type(&result, column), size);
      }
      count += size;
    });
    return count;
  }

  std::vector<row> rows(parameters const& values) override {
    std::vector<row> all;
    execute(values, [&](duckdb::result& result, duckdb::data_chunk chunk, duckdb::index size) {
      duckdb::index const columns = functions_.column_count(&result);
      std::size_t const first = all.size();
      all.resize(first + size);
      for (duckdb::index column = 0; column < columns; ++column) {
        duckdb::vector const vector = functions_.data_chunk_get_vector(chunk, column);
        duckdb::type const type = functions_.column_type(&result, column);
        std::uint64_t const* const validity = functions_.vector_get_validity(vector);
        for (duckdb::index i = 0; i < size; ++i) {
          all[first + i].push_back(is_valid(validity, i) ? content(vector, type, i) : cell());
        }
      }
    });
    return all;
  }

  std::string plan(parameters const& values) override {
    duckdb_query explained(functions_, connection_, "EXPLAIN " + sql_);
    std::string text;
    for (row const& line : explained.rows(values))
      text += std::get<std::string>(line.back()) + '\n';
    return text;
  }

 private:
  template <typename Consumer>
  void execute(parameters const& values, Consumer&& consume) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (auto const* integer = std::get_if<std::int64_t>(&values[i])) {
        functions_.bind_int64(statement_, i + 1, *integer);
      } else {
        functions_.bind_double(statement_, i + 1, std::get<double>(values[i]));
      }
    }
    duckdb::pending_result pending = nullptr;
    if (functions_.pending_prepared_streaming(statement_, &pending) != duckdb::success) {
      std::string const why = functions_.pending_error(pending);
      functions_.destroy_pending(&pending);
      fail(why.c_str());
    }
    duckdb_result result(functions_);
    duckdb::state const state = functions_.execute_pending(pending, result.get());
    functions_.destroy_pending(&pending);
    if (state != duckdb::success) fail(functions_.result_error(result.get()));
    while (duckdb::data_chunk chunk = functions_.fetch_chunk(*result.get())) {
      consume(*result.get(), chunk, functions_.data_chunk_get_size(chunk));
      functions_.destroy_data_chunk(&chunk);
    }
  }

  // Touches every value of a column of a chunk.
  void read(duckdb::vector vector, duckdb::type type, duckdb::index size) {
    void const* const data = functions_.vector_get_data(vector);
    std::uint64_t const* const validity = functions_.vector_get_validity(vector);
    std::uint64_t sum = 0;
    for (duckdb::index i = 0; i < size; ++i) {
      if (!is_valid(validity, i)) continue;
      if (type == duckdb::type_varchar) {
        auto const& text = static_cast<duckdb::text const*>(data)[i];
        if (text.length > 0) sum += static_cast<unsigned char>(text.data()[text.length - 1]);
      } else if (type == duckdb::type_integer) {
        sum += static_cast<std::uint64_t>(static_cast<std::int32_t const*>(data)[i]);
      } else {
        sum += static_cast<std::uint64_t const*>(data)[i];
      }
    }
    sum_ = sum_ + sum;
  }

  cell content(duckdb::vector vector, duckdb::type type, duckdb::index i) const {
    void const* const data = functions_.vector_get_data(vector);
    switch (type) {
      case duckdb::type_integer:
        return std::int64_t{static_cast<std::int32_t const*>(data)[i]};
      case duckdb::type_bigint:
        return static_cast<std::int64_t const*>(data)[i];
      case duckdb::type_double:
        return static_cast<double const*>(data)[i];
      case duckdb::type_varchar: {
        auto const& text = static_cast<duckdb::text const*>(data)[i];
        return std::string(text.data(), text.length);
      }
      case duckdb::type_decimal: {
        duckdb::logical_type logical = functions_.vector_get_column_type(vector);
        bool const fits = functions_.decimal_scale(logical) == 6 &&
                          functions_.decimal_internal_type(logical) == duckdb::type_bigint;
        functions_.destroy_logical_type(&logical);
        if (!fits) fail("a decimal of another shape than DECIMAL(18, 6)");
        return decimal_cell{static_cast<std::int64_t const*>(data)[i]};
      }
      default:
        fail("a result of a type that the harness does not read");
    }
  }

  api const& functions_;
  duckdb::connection connection_;
  std::string sql_;
  duckdb::prepared_statement statement_ = nullptr;
  std::uint64_t volatile sum_ = 0;
};

class duckdb_engine final : public engine {
 public:
  explicit duckdb_engine(std::unique_ptr<api> functions) : functions_(std::move(functions)) {
    if (functions_->open(nullptr, &database_) != duckdb::success) fail("cannot open");
    if (functions_->connect(database_, &connection_) != duckdb::success) fail("cannot connect");
    execute("SET threads = 1");
    execute("SET enable_progress_bar = false");
  }
  ~duckdb_engine() override {
    functions_->disconnect(&connection_);
    functions_->close(&database_);
  }

  std::string name() const override { return "DuckDB"; }
  std::string version() const override { return functions_->library_version(); }

  void load(tables const&, std::filesystem::path const& t_csv, std::filesystem::path const& u_csv,
            std::vector<std::string> const& indexes) override {
    execute(
        "CREATE TABLE T (id BIGINT, k BIGINT, grp BIGINT, price DECIMAL(18, 6), "
        "disc DECIMAL(18, 6), tax DECIMAL(18, 6), ratio DOUBLE, name VARCHAR, note VARCHAR, "
        "uref BIGINT)");
    execute("CREATE TABLE U (id BIGINT, label VARCHAR, weight DOUBLE)");
    execute("COPY T FROM '" + t_csv.string() + "' (FORMAT csv, HEADER)");
    execute("COPY U FROM '" + u_csv.string() + "' (FORMAT csv, HEADER)");
    for (std::string const& index : indexes) execute(create_index(index));
  }

  std::unique_ptr<prepared_query> prepare(std::string const& sql) override {
    return std::make_unique<duckdb_query>(*functions_, connection_, sql);
  }

 private:
  void execute(std::string const& sql) {
    duckdb_result result(*functions_);
    if (functions_->query(connection_, sql.c_str(), result.get()) != duckdb::success) {
      fail(functions_->result_error(result.get()));
    }
  }

  std::unique_ptr<api> functions_;
  duckdb::database database_ = nullptr;
  duckdb::connection connection_ = nullptr;
};

}  // namespace

std::unique_ptr<engine> make_duckdb_engine() {
  char const* const path = std::getenv("QD_DUCKDB_LIBRARY");
  std::string why = "QD_DUCKDB_LIBRARY does not name its library";
  std::unique_ptr<api> functions;
  if (path) {
    why.clear();
    functions = duckdb::load(path, why);
  }
  if (!functions) {
    std::cerr << "Without DuckDB: " << why << ".\n";
    return nullptr;
  }
  return std::make_unique<duckdb_engine>(std::move(functions));
}

}  // namespace bench
