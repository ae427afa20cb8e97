// A directory that goes with the test.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>
#include <system_error>

// An empty directory below the system's one for temporary files, removed with all that is in it.
class scratch_directory {
 public:
  scratch_directory() {
    std::string name = (std::filesystem::temp_directory_path() / "qd-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), name);
    }
    path_ = name;
  }
  ~scratch_directory() {
    std::error_code ignored;  // A directory that cannot be removed fails no test.
    std::filesystem::remove_all(path_, ignored);
  }
  scratch_directory(scratch_directory const&) = delete;
  scratch_directory& operator=(scratch_directory const&) = delete;

  std::filesystem::path const& path() const { return path_; }
  std::filesystem::path operator/(std::string const& name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};
