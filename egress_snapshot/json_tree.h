#ifndef EGRESS_SNAPSHOT_JSON_TREE_H
#define EGRESS_SNAPSHOT_JSON_TREE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

namespace egress::snapshot {

// A text that is read keeps no order of members: nlohmann::ordered_json looks for each key among
// all those before, which a hostile text makes quadratic.
using Json = nlohmann::json;

// Frees what a value of at most kMaxJsonDepth levels holds, and leaves an empty one of its kind.
// Allocates nothing: the destructor of Json, and so an assignment, moves the elements to a list of
// their size first, and ends the program if there is no memory for it.
void release(Json& value) noexcept;

// A parsed text that is destroyed without allocating.
struct JsonTree {
  Json root = Json::value_t::null;

  JsonTree() = default;
  JsonTree(const JsonTree&) = delete;
  JsonTree& operator=(const JsonTree&) = delete;
  ~JsonTree() { release(root); }
};

// Receivers of the values of a text from nlohmann/json, in order, have the functions of its
// json_sax. These answer in the same way.
struct JsonReceiver {
  static bool binary(Json::binary_t& /*value*/) { return false; }  // a text has none
  static bool parse_error(std::size_t /*offset*/, const std::string& /*token*/,
                          const nlohmann::detail::exception& /*error*/) {
    return false;
  }
};

// Builds a tree. Json has a receiver of its own, but that assigns over a value with an equal key.
class JsonTreeBuilder : public JsonReceiver {
 public:
  explicit JsonTreeBuilder(Json& root) : next_(&root) {}

  bool null() { return add(nullptr); }
  bool boolean(bool value) { return add(value); }
  bool number_integer(std::int64_t value) { return add(value); }
  bool number_unsigned(std::uint64_t value) { return add(value); }
  bool number_float(double value, const std::string& /*text*/) { return add(value); }
  bool string(std::string& value) { return add(std::move(value)); }

  bool start_array(std::size_t /*size*/) { return open(Json::array()); }
  bool start_object(std::size_t /*size*/) { return open(Json::object()); }
  bool end_array() { return close(); }
  bool end_object() { return close(); }

  bool key(std::string& key) {
    next_ = &open_.back()->get_ref<Json::object_t&>()[key];
    release(*next_);
    return true;
  }

 private:
  Json& place() {
    if (open_.empty() || open_.back()->is_object()) return *next_;
    return open_.back()->get_ref<Json::array_t&>().emplace_back();
  }

  bool add(Json value) {
    place() = std::move(value);
    return true;
  }

  bool open(Json container) {
    Json& opened = place();
    opened = std::move(container);
    open_.push_back(&opened);
    return true;
  }

  bool close() {
    open_.pop_back();
    return true;
  }

  std::vector<Json*> open_;  // arrays and objects, from the outermost
  Json* next_;               // the root, or the member whose key was read last
};

// Parses a text of at most kMaxJsonDepth levels into a fresh tree. Of members with one key, the
// last one stays. Returns false if the text is not strict JSON. Throws only when memory runs out;
// the tree is then incomplete.
[[nodiscard]] bool parseInto(JsonTree& tree, std::string_view text);

}  // namespace egress::snapshot

#endif
