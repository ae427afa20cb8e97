// Descriptions of classes that were read from the catalogue, for all contexts of one schema.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "dbmetalayer/class_description.h"

namespace qd::embedded {

// May be used by several threads, each with its own context. Every context that it is used with
// must see the schema that it was made for.
class description_cache {
 public:
  explicit description_cache(std::uint64_t schema_version) : schema_version_(schema_version) {}

  std::uint64_t schema_version() const { return schema_version_; }
  // Reads through `context` what is not known yet. Throws unknown_name.
  std::shared_ptr<class_description const> find(unsigned long context, std::u16string_view name);
  // By the class's catalogue record. Throws unknown_object.
  std::shared_ptr<class_description const> find(unsigned long context, QD_OBJ_REF const& record);

 private:
  using description = std::shared_ptr<class_description const>;
  description remember(description&& read);

  std::uint64_t schema_version_;
  std::mutex mutex_;
  std::map<std::u16string, description, std::less<>> by_name_;
  std::map<std::uint64_t, description> by_record_;
};

}  // namespace qd::embedded
