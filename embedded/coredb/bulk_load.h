// The objects of a bulk insert under way: they are stored, but no index has an entry for them.
#pragma once

#include <cstdint>
#include <iterator>
#include <map>

namespace qd::coredb {

struct bulk_load {
  std::uint16_t layout;
  // Runs of consecutive object ids: the first -> the one behind the last. What was erased since is
  // still among them.
  std::map<std::uint64_t, std::uint64_t> runs = {};
  // Set once any object of the database was erased, to which a reference may lead.
  bool any_erased = false;

  void add(std::uint64_t oid) {
    auto behind = runs.empty() || runs.rbegin()->first <= oid ? runs.end() : runs.upper_bound(oid);
    bool const extends = behind != runs.begin() && std::prev(behind)->second == oid;
    auto const run = extends ? std::prev(behind) : runs.emplace_hint(behind, oid, oid);
    run->second = oid + 1;
    if (behind != runs.end() && behind->first == oid + 1) {
      run->second = behind->second;
      runs.erase(behind);
    }
  }
  bool contains(std::uint64_t oid) const {
    auto const behind = runs.upper_bound(oid);
    return behind != runs.begin() && oid < std::prev(behind)->second;
  }
};

// An object that a unique index did not take.
struct refused_object {
  std::uint64_t oid;
  std::uint64_t existing;  // The object that has its key.
  std::uint64_t index_id;
};

}  // namespace qd::coredb
