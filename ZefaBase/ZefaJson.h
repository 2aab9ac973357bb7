#pragma once
// JSON values for the whole library: nlohmann's basic_json over an object map that keeps members
// in insertion order (the order in which queries, headers and records are written) and finds them
// in constant time, so parsing stays linear in the member count even for hostile replies.
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "ZefaBase/ZefaBlockCache.h"
#include "ZefaBase/ZefaExport.h"

// Insertion-ordered map with the interface basic_json expects of its object type. Members live
// in a vector (iteration order = insertion order, mutable `it->second`); objects with more than
// kIndexThreshold members also keep an open-addressing index of member positions (one array, no
// copies of the keys), so finding a member stays constant time however wide the object is.
template <class Key, class T, class IgnoredLess = std::less<Key>,
          class Allocator = std::allocator<std::pair<const Key, T>>>
class ZEFA_EXPORT ZefaOrderedMap {
 public:
  using key_type = Key;
  using mapped_type = T;
  using value_type = std::pair<const Key, T>;
  using Container = std::vector<value_type, Allocator>;
  using iterator = typename Container::iterator;
  using const_iterator = typename Container::const_iterator;
  using size_type = typename Container::size_type;
  using difference_type = typename Container::difference_type;
  using key_compare = std::equal_to<Key>;

  ZefaOrderedMap() = default;
  ZefaOrderedMap(std::initializer_list<value_type> init) { insert(init.begin(), init.end()); }
  template <class It>
  ZefaOrderedMap(It first, It last) {
    insert(first, last);
  }
  ZefaOrderedMap(const ZefaOrderedMap&) = default;
  ZefaOrderedMap(ZefaOrderedMap&&) noexcept = default;
  ZefaOrderedMap& operator=(const ZefaOrderedMap& other) {
    if (this != &other) *this = ZefaOrderedMap(other);
    return *this;
  }
  ZefaOrderedMap& operator=(ZefaOrderedMap&&) noexcept = default;

  iterator begin() noexcept { return items_.begin(); }
  iterator end() noexcept { return items_.end(); }
  const_iterator begin() const noexcept { return items_.begin(); }
  const_iterator end() const noexcept { return items_.end(); }
  const_iterator cbegin() const noexcept { return items_.cbegin(); }
  const_iterator cend() const noexcept { return items_.cend(); }
  size_type size() const noexcept { return items_.size(); }
  size_type max_size() const noexcept { return items_.max_size(); }
  bool empty() const noexcept { return items_.empty(); }
  void reserve(size_type count) { items_.reserve(count); }
  void clear() noexcept {
    items_.clear();
    slots_.clear();
  }

  iterator find(const key_type& key) { return items_.begin() + position(key); }
  const_iterator find(const key_type& key) const { return items_.begin() + position(key); }
  size_type count(const key_type& key) const { return position(key) == size() ? 0 : 1; }
  bool contains(const key_type& key) const { return count(key) == 1; }

  T& at(const key_type& key) {
    const size_type p = position(key);
    if (p == size()) throw std::out_of_range("key not found");
    return items_[p].second;
  }
  const T& at(const key_type& key) const { return const_cast<ZefaOrderedMap&>(*this).at(key); }
  T& operator[](const key_type& key) { return try_emplace(key).first->second; }
  T& operator[](key_type&& key) { return try_emplace(std::move(key)).first->second; }
  const T& operator[](const key_type& key) const { return at(key); }

  // Adds (key, value built from args) unless the key is present; the existing member wins.
  template <class K, class... Args>
  std::pair<iterator, bool> emplace(K&& key, Args&&... args) {
    return try_emplace(key_type(std::forward<K>(key)), std::forward<Args>(args)...);
  }
  template <class... Args>
  std::pair<iterator, bool> try_emplace(const key_type& key, Args&&... args) {
    return place(key, std::forward<Args>(args)...);
  }
  template <class... Args>
  std::pair<iterator, bool> try_emplace(key_type&& key, Args&&... args) {
    return place(std::move(key), std::forward<Args>(args)...);
  }
  // try_emplace for a key given as a view of its text, which is copied only when it is added
  // (for decoders: the key is made in its place, never moved there).
  template <class View, class... Args>
  std::pair<iterator, bool> try_emplace_view(View key, Args&&... args) {
    return place(key, std::forward<Args>(args)...);
  }
  std::pair<iterator, bool> insert(const value_type& value) {
    return emplace(value.first, value.second);
  }
  std::pair<iterator, bool> insert(value_type&& value) {
    return emplace(value.first, std::move(value.second));
  }
  template <class It>
  void insert(It first, It last) {
    for (; first != last; ++first) insert(*first);
  }

  size_type erase(const key_type& key) {
    const size_type p = position(key);
    if (p == size()) return 0;
    erase(items_.begin() + p);
    return 1;
  }
  iterator erase(iterator pos) { return erase(pos, std::next(pos)); }
  iterator erase(iterator first, iterator last) {
    const auto offset = std::distance(items_.begin(), first);
    const auto gap = std::distance(first, last);
    if (gap == 0) return first;
    // Keys are const, so members after the gap are re-built in place rather than assigned.
    for (auto it = first; std::next(it, gap) != items_.end(); ++it) {
      it->~value_type();
      new (&*it) value_type(std::move(*std::next(it, gap)));
    }
    items_.resize(items_.size() - static_cast<size_type>(gap));
    rebuildIndex();
    return items_.begin() + offset;
  }

  // Two objects are equal when they hold the same members, whatever their order.
  friend bool operator==(const ZefaOrderedMap& a, const ZefaOrderedMap& b) {
    if (a.size() != b.size()) return false;
    for (const auto& [key, value] : a) {
      const auto it = b.find(key);
      if (it == b.end() || !(it->second == value)) return false;
    }
    return true;
  }
  friend bool operator<(const ZefaOrderedMap& a, const ZefaOrderedMap& b) {
    return a.items_ < b.items_;
  }

 private:
  static constexpr size_type kIndexThreshold = 16;
  // A slot holds a member's position + 1; 0 is an empty slot.
  using Slot = uint32_t;

  // Where `key` is or would go: the member's position (size() when absent) and, with an index,
  // the slot that holds it or the empty slot that ends its probe sequence.
  struct Probe {
    size_type position;
    size_type slot;
  };

  // A key's hash: a view of a text hashes as the text does.
  template <class K>
  static size_type hashOf(const K& key) {
    if constexpr (std::is_same_v<K, Key>) {
      return std::hash<Key>{}(key);
    } else {
      return std::hash<K>{}(key);
    }
  }

  template <class K>
  Probe probe(const K& key) const {
    if (slots_.empty()) {
      for (size_type i = 0; i < items_.size(); ++i) {
        if (items_[i].first == key) return {i, 0};
      }
      return {size(), 0};
    }
    const size_type mask = slots_.size() - 1;
    for (size_type s = hashOf(key) & mask;; s = (s + 1) & mask) {
      const Slot slot = slots_[s];
      if (slot == 0) return {size(), s};
      if (items_[slot - 1].first == key) return {slot - 1, s};
    }
  }
  size_type position(const key_type& key) const { return probe(key).position; }

  template <class K, class... Args>
  std::pair<iterator, bool> place(K&& key, Args&&... args) {
    const Probe found = probe(key);
    if (found.position != size()) return {items_.begin() + found.position, false};
    items_.emplace_back(std::piecewise_construct, std::forward_as_tuple(std::forward<K>(key)),
                        std::forward_as_tuple(std::forward<Args>(args)...));
    if (!slots_.empty() && items_.size() * 2 <= slots_.size()) {
      slots_[found.slot] = static_cast<Slot>(items_.size());
    } else if (items_.size() > kIndexThreshold) {
      rebuildIndex();
    }
    return {std::prev(items_.end()), true};
  }

  // Sizes the index for at most half full slots and fills it; small maps go without one.
  void rebuildIndex() {
    slots_.clear();
    if (items_.size() <= kIndexThreshold) return;
    size_type capacity = 32;
    while (capacity < items_.size() * 4) capacity *= 2;
    slots_.assign(capacity, 0);
    const size_type mask = capacity - 1;
    for (size_type i = 0; i < items_.size(); ++i) {
      size_type s = std::hash<Key>{}(items_[i].first) & mask;
      while (slots_[s] != 0) s = (s + 1) & mask;
      slots_[s] = static_cast<Slot>(i + 1);
    }
  }

  Container items_;
  std::vector<Slot, typename std::allocator_traits<Allocator>::template rebind_alloc<Slot>>
      slots_;  // the index, only for objects past kIndexThreshold
};

// A JSON value: null, boolean, number (integers stay integers), text, array or object. Its
// containers and text holders come from ZefaBlockCache: replies are decoded and freed by the dozen.
using ZefaJson = nlohmann::basic_json<ZefaOrderedMap, std::vector, std::string, bool, std::int64_t,
                                      std::uint64_t, double, ZefaBlockAllocator>;
// A text-keyed object of JSON values, in insertion order.
using ZefaJsonObject = ZefaJson::object_t;
// An array of JSON values.
using ZefaJsonArray = ZefaJson::array_t;

// Parsing and writing JSON text under the library's rules.
class ZEFA_EXPORT ZefaJsonText {
 public:
  // Deepest nesting of arrays and objects that parse() accepts.
  static constexpr int kMaxDepth = 512;

  // Parses `text`: strict JSON, valid UTF-8 without NUL bytes, a top-level object or array
  // only, at most kMaxDepth levels of nesting; when a member repeats, the last one wins. On failure
  // returns none and, when `error` is given, sets it to a description of the fault.
  static std::optional<ZefaJson> parse(std::string_view text, std::string* error = nullptr);
  // The same rules, but any value is accepted at the top level, scalars included.
  static std::optional<ZefaJson> parseValue(std::string_view text, std::string* error = nullptr);

  // True when `value` can be written as JSON text: its top level is an object or an array, it
  // nests at most kMaxDepth levels, and no number anywhere in it is NaN or infinite. Checked
  // without recursion, so a value built in memory to any depth is refused, never a crash.
  static bool isSerialisable(const ZefaJson& value);
  static bool isSerialisable(const ZefaJsonObject& object);

  // A copy made without recursion: values nested deeper than a thread's stack allows copy too.
  static ZefaJsonObject copy(const ZefaJsonObject& object);

  // Empties `object`, freeing its values from the leaves up without recursion. Cheaper than
  // letting it go out of scope, where each container moves its members through a stack of its
  // own before freeing them.
  static void release(ZefaJsonObject& object);

  // The value when it is a JSON integer that fits 64 signed bits; none for other kinds (floats
  // and texts included) and for integers out of that range.
  static std::optional<int64_t> int64Value(const ZefaJson& value);

  enum class WriteFault { None, NotUtf8, Serialiser };
  // Writes `value` compactly (no white space, members in their order), with every "/" written
  // as "\/". Returns none when a text in it is not UTF-8 (fault NotUtf8) or the serialiser
  // fails (fault Serialiser), with a description in `error`.
  static std::optional<std::string> write(const ZefaJson& value, std::string* error = nullptr,
                                          WriteFault* fault = nullptr);
  // The same for an object, written as the object value holding its members would be.
  static std::optional<std::string> write(const ZefaJsonObject& object,
                                          std::string* error = nullptr,
                                          WriteFault* fault = nullptr);
};
