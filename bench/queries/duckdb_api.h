// The few functions of DuckDB's C interface that the harness calls, found in its shared library at
// run time. Names, shapes and numbers are those of the library's public interface.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

namespace bench::duckdb {

using database = void*;
using connection = void*;
using prepared_statement = void*;
using pending_result = void*;
using data_chunk = void*;
using vector = void*;
using logical_type = void*;
using index = std::uint64_t;

// Handed around by value; only its address counts here.
struct result {
  index unused_column_count;
  index unused_row_count;
  index unused_rows_changed;
  void* unused_columns;
  char* unused_error;
  void* internal;
};

enum type : int {
  type_boolean = 1,
  type_integer = 4,
  type_bigint = 5,
  type_double = 11,
  type_varchar = 17,
  type_decimal = 19,
};
enum state : int { success = 0 };

// A text in a vector: in place when it has no more than 12 bytes, else 4 bytes of it and a pointer.
struct text {
  std::uint32_t length;
  char content[12];

  char const* data() const {
    if (length <= sizeof content) return content;
    char const* elsewhere;
    std::memcpy(&elsewhere, content + 4, sizeof elsewhere);
    return elsewhere;
  }
};
static_assert(sizeof(text) == 16);

struct api {
  state (*open)(char const* path, database* out);
  state (*connect)(database, connection* out);
  void (*disconnect)(connection*);
  void (*close)(database*);
  state (*query)(connection, char const* sql, result* out);
  state (*prepare)(connection, char const* sql, prepared_statement* out);
  char const* (*prepare_error)(prepared_statement);
  void (*destroy_prepare)(prepared_statement*);
  state (*bind_int64)(prepared_statement, index number, std::int64_t);
  state (*bind_double)(prepared_statement, index number, double);
  state (*pending_prepared_streaming)(prepared_statement, pending_result* out);
  char const* (*pending_error)(pending_result);
  state (*execute_pending)(pending_result, result* out);
  void (*destroy_pending)(pending_result*);
  char const* (*result_error)(result*);
  index (*column_count)(result*);
  type (*column_type)(result*, index column);
  data_chunk (*fetch_chunk)(result);
  index (*data_chunk_get_size)(data_chunk);
  vector (*data_chunk_get_vector)(data_chunk, index column);
  void* (*vector_get_data)(vector);
  std::uint64_t* (*vector_get_validity)(vector);
  logical_type (*vector_get_column_type)(vector);
  std::uint8_t (*decimal_scale)(logical_type);
  type (*decimal_internal_type)(logical_type);
  void (*destroy_logical_type)(logical_type*);
  void (*destroy_data_chunk)(data_chunk*);
  void (*destroy_result)(result*);
  char const* (*library_version)();
};

// The functions of the library at `path`; null, with the reason in `why`, when it cannot be had. The
// library stays loaded.
std::unique_ptr<api> load(std::string const& path, std::string& why);

}  // namespace bench::duckdb
