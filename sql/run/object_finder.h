// Finds the object that a reference column's key stands for.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "sql/run/internal_query.h"
#include "sql/run/operation.h"

namespace qd::sql {

// A column through whose values rows of a table are looked up.
struct key_place {
  std::shared_ptr<sql::catalogue> tables;  // Owns the others.
  table_info const* table;
  column_info const* column;
};
// The lookup column of a reference column, as the statement's transaction sees it.
key_place key_of(run_context const& run, column_info const& reference);

// What a key stands for, or why it stands for nothing: no object has it, several have, or the column
// cannot have such a value.
struct lookup {
  embedded::object_id object = {};
  std::string refusal = {};  // Empty when there is an object.
};

struct value_hash {
  std::size_t operator()(value const& content) const { return hash_value(content); }
};

// Looks objects of a class up by the value of one of its columns, through an index that the column
// leads, or else through a map of all values that one pass over the class makes. Sees what its
// transaction has written before the finder was made; a later write makes a new one necessary.
class object_finder {
 public:
  // The thread's metadata context must be the transaction's.
  object_finder(run_context const& run, key_place place);

  // The object whose column equals the key.
  lookup find(value const& key);

 private:
  struct found {
    QD_OBJ_REF object;
    bool several = false;
  };

  void read_all();
  std::optional<found> look_up(value const& key);

  connection_state& connection_;
  std::shared_ptr<open_transaction> transaction_;
  key_place place_;
  std::unique_ptr<query> by_key_;  // Null when every value is in `known_`.
  // By key; through an index, those found so far, nothing for those that are not there.
  std::unordered_map<value, std::optional<found>, value_hash> known_;
};

}  // namespace qd::sql
