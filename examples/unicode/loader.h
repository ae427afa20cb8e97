// Stores the Unicode Character Database as objects.
#pragma once

#include <filesystem>
#include <functional>
#include <string_view>

#include "dbmetalayer/database.h"

namespace unicode_demo {

// Called while a load goes on: what is being done, and how much of it is.
using progress_report =
    std::function<void(std::string_view stage, std::size_t done, std::size_t total)>;

// Whether the context sees a loaded database. A load is one transaction, so there is none that is
// loaded in part.
bool is_loaded(qd::embedded::read_context const& context);

// Reads the text files in `directory` and stores them, in place of what an earlier load stored.
// Throws input_error for a refused file and embedded::error of the database; the database is then
// as it was.
void load(qd::embedded::database& data, std::filesystem::path const& directory,
          progress_report const& report);

}  // namespace unicode_demo
