// The string hash as this library's own functions use it.
#pragma once

#include <string_view>

#include "kavo/core.h"

struct tagKLIBSZHASH {
    struct Entry {
        size_t hash;
        size_t key_length;
        char *key;
        char *value;
    };

    Entry *entries; // in the order in which the keys were first set
    size_t count;
    size_t room;
    uint32_t *slots;   // an open-addressed index into the entries, counted from 1; 0 is free
    size_t slot_count; // a power of two, at least twice as many as there are entries
};

namespace kavo {

// The entry of a key; null when there is none.
const tagKLIBSZHASH::Entry *find(const tagKLIBSZHASH *hash, std::string_view key);

// Sets a key to a copy of the value. False when out of memory; the hash is then what it was.
bool set(tagKLIBSZHASH *hash, std::string_view key, std::string_view value);

// The number of keys; 0 for no hash.
inline size_t count(const tagKLIBSZHASH *hash)
{
    return hash == nullptr ? 0 : hash->count;
}

// The owner of a hash.
class Hash {
public:
    explicit Hash(int buckets = 0) : hash_(KLIBCSzHashAlloc(buckets)) {}
    Hash(const Hash &) = delete;
    Hash &operator=(const Hash &) = delete;
    ~Hash() { KLIBCSzHashFree(hash_); }

    explicit operator bool() const { return hash_ != nullptr; }
    [[nodiscard]] tagKLIBSZHASH *get() const { return hash_; }

private:
    tagKLIBSZHASH *hash_;
};

} // namespace kavo
