#include "queries/duckdb_api.h"

#include <dlfcn.h>

namespace bench::duckdb {

std::unique_ptr<api> load(std::string const& path, std::string& why) {
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!library) {
    why = dlerror();
    return nullptr;
  }
  auto functions = std::make_unique<api>();
  auto const find = [&]<typename Function>(char const* name, Function*& function) {
    function = reinterpret_cast<Function*>(dlsym(library, name));
    if (!function) why = std::string("there is no ") + name;
  };
  find("duckdb_open", functions->open);
  find("duckdb_connect", functions->connect);
  find("duckdb_disconnect", functions->disconnect);
  find("duckdb_close", functions->close);
  find("duckdb_query", functions->query);
  find("duckdb_prepare", functions->prepare);
  find("duckdb_prepare_error", functions->prepare_error);
  find("duckdb_destroy_prepare", functions->destroy_prepare);
  find("duckdb_bind_int64", functions->bind_int64);
  find("duckdb_bind_double", functions->bind_double);
  find("duckdb_pending_prepared_streaming", functions->pending_prepared_streaming);
  find("duckdb_pending_error", functions->pending_error);
  find("duckdb_execute_pending", functions->execute_pending);
  find("duckdb_destroy_pending", functions->destroy_pending);
  find("duckdb_result_error", functions->result_error);
  find("duckdb_column_count", functions->column_count);
  find("duckdb_column_type", functions->column_type);
  find("duckdb_fetch_chunk", functions->fetch_chunk);
  find("duckdb_data_chunk_get_size", functions->data_chunk_get_size);
  find("duckdb_data_chunk_get_vector", functions->data_chunk_get_vector);
  find("duckdb_vector_get_data", functions->vector_get_data);
  find("duckdb_vector_get_validity", functions->vector_get_validity);
  find("duckdb_vector_get_column_type", functions->vector_get_column_type);
  find("duckdb_decimal_scale", functions->decimal_scale);
  find("duckdb_decimal_internal_type", functions->decimal_internal_type);
  find("duckdb_destroy_logical_type", functions->destroy_logical_type);
  find("duckdb_destroy_data_chunk", functions->destroy_data_chunk);
  find("duckdb_destroy_result", functions->destroy_result);
  find("duckdb_library_version", functions->library_version);
  if (!why.empty()) return nullptr;
  return functions;
}

}  // namespace bench::duckdb
