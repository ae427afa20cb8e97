// Runs a fuzz target over the files of directories: without a fuzzer, what one has found stays
// checked.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

int main(int count, char** arguments) {
  int files = 0;
  for (int i = 1; i < count; ++i) {
    for (auto const& each : std::filesystem::directory_iterator(arguments[i])) {
      std::printf("%s\n", each.path().c_str());
      std::fflush(stdout);
      std::ifstream file(each.path(), std::ios::binary);
      std::vector<char> const bytes{std::istreambuf_iterator<char>(file), {}};
      LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
      ++files;
    }
  }
  if (files == 0) std::fputs("there are no files\n", stderr);
  return files == 0 ? 1 : 0;
}
