#include "sql/run/file_streams.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <istream>
#include <ostream>

#include "sql/error.h"

namespace qd::sql {
namespace {

[[noreturn]] void refuse(std::string const& path, int reason) {
  throw error(error_code::bad_input, "file \"" + path + "\": " + std::strerror(reason));
}

}  // namespace

input_file::input_file(std::filesystem::path const& path)
    : name_(path.string()), descriptor_(::open(name_.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (descriptor_ < 0) refuse(name_, errno);
  struct stat status {};
  if (fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode)) {
    size_ = static_cast<std::uint64_t>(status.st_size);
  }
}

input_file::~input_file() {
  ::close(descriptor_);
}

std::size_t input_file::read(std::span<char> buffer) {
  for (;;) {
    ssize_t const count = ::read(descriptor_, buffer.data(), buffer.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) refuse(name_, errno);
  }
}

output_file::output_file(std::filesystem::path const& path)
    : path_(path.string()), written_path_(path_) {
  struct stat status {};
  bool const is_file = ::stat(path_.c_str(), &status) != 0 || S_ISREG(status.st_mode);
  if (is_file) written_path_ += ".unfinished";
  descriptor_ =
      ::open(written_path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode_t{0666});
  if (descriptor_ < 0) refuse(path_, errno);
}

output_file::~output_file() {
  if (descriptor_ < 0) return;
  ::close(descriptor_);
  if (written_path_ != path_) ::unlink(written_path_.c_str());
}

void output_file::write(std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t const count = ::write(descriptor_, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      refuse(path_, errno);
    }
  }
}

void output_file::finish() {
  if (written_path_ != path_ && ::rename(written_path_.c_str(), path_.c_str()) != 0) {
    refuse(path_, errno);
  }
  int const descriptor = descriptor_;
  descriptor_ = -1;
  if (::close(descriptor) != 0) refuse(path_, errno);
}

std::size_t read_stream(std::istream& stream, std::span<char> buffer) {
  stream.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
  if (stream.bad()) throw error(error_code::bad_input, "the input stream cannot be read");
  return static_cast<std::size_t>(stream.gcount());
}

void write_stream(std::ostream& stream, std::string_view bytes) {
  stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!stream) throw error(error_code::bad_input, "the output stream cannot be written");
}

}  // namespace qd::sql
