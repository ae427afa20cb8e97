// Files as the streams of bytes that COPY reads and writes.
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>

namespace qd::sql {

// All throw sql::error (bad_input), which names the file and what the system says.

class input_file {
 public:
  explicit input_file(std::filesystem::path const& path);
  ~input_file();
  input_file(input_file const&) = delete;
  input_file& operator=(input_file const&) = delete;

  // Fills a part of the buffer; 0 at the end.
  std::size_t read(std::span<char> buffer);
  std::uint64_t size() const { return size_; }  // 0 when it is not known.

 private:
  std::string name_;
  int descriptor_;
  std::uint64_t size_ = 0;
};

// What is written stands under another name until `finish` gives the file its own, unless the path
// is something else than a file. Without `finish` nothing is left.
class output_file {
 public:
  explicit output_file(std::filesystem::path const& path);
  ~output_file();
  output_file(output_file const&) = delete;
  output_file& operator=(output_file const&) = delete;

  void write(std::string_view bytes);
  void finish();

 private:
  std::string path_;
  std::string written_path_;  // The same for what is no file.
  int descriptor_ = -1;
};

// The same over a program's streams. `read` ends at the end of the stream.
std::size_t read_stream(std::istream& stream, std::span<char> buffer);
void write_stream(std::ostream& stream, std::string_view bytes);

}  // namespace qd::sql
