#pragma once

#include <cstddef>
#include <utility>
#include <vector>

// TOVValMap<K,V>: the host's hash map with separate chaining, built with a
// hash function and an initial bucket count.
//
// insert(k, v) first removes any entry whose key equals k (K's operator==) and
// then appends the new entry at the end of its bucket's chain, so the last
// insert wins and a key is never held twice. Iteration visits buckets 0..n-1,
// each chain oldest entry first. When the entries exceed twice the buckets the
// table grows to 2n+1 buckets (chains are re-linked in iteration order), which
// keeps lookups constant-time at millions of entries. The order is therefore
// deterministic for a given sequence of operations but is not insertion order.
//
// Threads: not synchronised; concurrent reads are safe, a write needs the
// caller's exclusion. Any insert or remove invalidates iterators.
template <typename K, typename V>
class TOVValMap {
  struct Node {
    K key;
    V value;
    unsigned int hash;
    Node* next;
  };

 public:
  using HashFunction = unsigned int (*)(const K&);

  TOVValMap(HashFunction hashFn, std::size_t bucketCount)
      : _hashFn(hashFn), _buckets(bucketCount == 0 ? 1 : bucketCount, nullptr) {}
  TOVValMap(const TOVValMap& other) : _hashFn(other._hashFn), _buckets(other._buckets.size()) {
    for (const auto& entry : other) insert(entry.key(), entry.value());
  }
  TOVValMap& operator=(const TOVValMap& other) {
    if (this != &other) {
      TOVValMap copy(other);
      swap(copy);
    }
    return *this;
  }
  ~TOVValMap() { clear(); }

  void swap(TOVValMap& other) noexcept {
    std::swap(_hashFn, other._hashFn);
    _buckets.swap(other._buckets);
    std::swap(_entries, other._entries);
  }

  // Replaces any entry with an equal key.
  void insert(const K& key, const V& value) {
    const unsigned int hash = _hashFn(key);
    remove(key, hash);
    Node* node = new Node{key, value, hash, nullptr};
    append(_buckets[hash % _buckets.size()], node);
    if (++_entries > 2 * _buckets.size()) grow();
  }

  // Removes the entry with this key; returns whether there was one.
  bool remove(const K& key) { return remove(key, _hashFn(key)); }

  // Copies the value held under key into out and returns true; false (out
  // untouched) when the key is missing.
  bool find(const K& key, V& out) const {
    const Node* node = findNode(key);
    if (node == nullptr) return false;
    out = node->value;
    return true;
  }
  // The value held under key, or a default-constructed V.
  V lookup(const K& key) const {
    const Node* node = findNode(key);
    return node ? node->value : V();
  }
  bool contains(const K& key) const { return findNode(key) != nullptr; }

  std::size_t entries() const noexcept { return _entries; }
  bool isEmpty() const noexcept { return _entries == 0; }
  std::size_t buckets() const noexcept { return _buckets.size(); }

  void clear() noexcept {
    for (Node*& head : _buckets) {
      while (head != nullptr) {
        Node* next = head->next;
        delete head;
        head = next;
      }
    }
    _entries = 0;
  }

  // Read-only iteration in the map's order; *it exposes key() and value().
  class const_iterator {
   public:
    const K& key() const { return _node->key; }
    const V& value() const { return _node->value; }
    const const_iterator& operator*() const { return *this; }
    const const_iterator* operator->() const { return this; }
    const_iterator& operator++() {
      _node = _node->next;
      if (_node == nullptr) skipEmpty(_bucket + 1);
      return *this;
    }
    bool operator==(const const_iterator& other) const { return _node == other._node; }

   private:
    friend class TOVValMap;
    const_iterator(const std::vector<Node*>* buckets, std::size_t bucket) : _buckets(buckets) {
      skipEmpty(bucket);
    }
    void skipEmpty(std::size_t bucket) {
      _node = nullptr;
      for (_bucket = bucket; _bucket < _buckets->size(); ++_bucket) {
        if ((*_buckets)[_bucket] != nullptr) {
          _node = (*_buckets)[_bucket];
          return;
        }
      }
    }
    const std::vector<Node*>* _buckets;
    std::size_t _bucket = 0;
    const Node* _node = nullptr;
  };

  const_iterator begin() const { return const_iterator(&_buckets, 0); }
  const_iterator end() const { return const_iterator(&_buckets, _buckets.size()); }

 private:
  static void append(Node*& head, Node* node) {
    Node** slot = &head;
    while (*slot != nullptr) slot = &(*slot)->next;
    *slot = node;
  }

  bool remove(const K& key, unsigned int hash) {
    for (Node** slot = &_buckets[hash % _buckets.size()]; *slot != nullptr; slot = &(*slot)->next) {
      Node* node = *slot;
      if (node->hash == hash && node->key == key) {
        *slot = node->next;
        delete node;
        --_entries;
        return true;
      }
    }
    return false;
  }

  const Node* findNode(const K& key) const {
    const unsigned int hash = _hashFn(key);
    for (const Node* node = _buckets[hash % _buckets.size()]; node != nullptr; node = node->next) {
      if (node->hash == hash && node->key == key) return node;
    }
    return nullptr;
  }

  void grow() {
    std::vector<Node*> fresh(2 * _buckets.size() + 1, nullptr);
    std::vector<Node**> tails(fresh.size());
    for (std::size_t i = 0; i < fresh.size(); ++i) tails[i] = &fresh[i];
    for (Node* head : _buckets) {
      while (head != nullptr) {
        Node* next = head->next;
        head->next = nullptr;
        const std::size_t b = head->hash % fresh.size();
        *tails[b] = head;
        tails[b] = &head->next;
        head = next;
      }
    }
    _buckets.swap(fresh);
  }

  HashFunction _hashFn;
  std::vector<Node*> _buckets;
  std::size_t _entries = 0;
};
