// Stands between the library and the kernel that it is linked with, whose functions it defines once
// more and forwards to. While armed it notes the library's calls, makes one of them fail, watches
// that every iterator is freed, and lends copies that it spoils at the next call, so that a buffer
// that was not copied in time shows. The kernel's calls to itself pass through unnoticed, and so
// does everything while it is not armed.
//
// Serves one thread at a time while armed.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace faulty_kernel {

// A call that has a status.
struct call {
  std::string function;  // Without its prefix: "context_get_ulong".
  bool of_catalogue;     // Steps and releases: the iterator was opened on a catalogue index.
};

// Starts noting calls. Nothing fails.
void arm();
// The same, and call number `number`, counted from 1, fails with `status`: it is not forwarded, but
// for the release of an iterator, which takes place all the same.
void arm(std::size_t number, unsigned int status);
// Ends it and returns what was noted since.
std::vector<call> disarm();

// Iterators opened while armed and not freed since.
std::size_t open_iterators();

}  // namespace faulty_kernel
