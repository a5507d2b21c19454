#include "core/hash.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "core/fail.h"
#include "core/fingerprint.h"
#include "core/list.h"

namespace {

using Entry = tagKLIBSZHASH::Entry;

constexpr size_t FEWEST_SLOTS = 16;
// The number of buckets is a hint: the index grows by itself, so a wild one need not cost memory.
constexpr size_t MOST_FIRST_SLOTS = 65536;

size_t hash_of(std::string_view key)
{
    return static_cast<size_t>(kavo::fingerprint(key));
}

// The slot of a key, or the free one where it belongs.
uint32_t *slot_of(const tagKLIBSZHASH *hash, size_t hashed, std::string_view key)
{
    for (size_t i = hashed;; ++i) {
        uint32_t *slot = &hash->slots[i & (hash->slot_count - 1)];
        if (*slot == 0)
            return slot;
        const Entry &entry = hash->entries[*slot - 1];
        if (entry.hash == hashed && std::string_view(entry.key, entry.key_length) == key)
            return slot;
    }
}

// Room for one more entry.
bool grow_entries(tagKLIBSZHASH *hash)
{
    if (hash->count < hash->room)
        return true;
    const size_t room = std::max<size_t>(8, hash->room + hash->room / 2);
    if (room > std::min<size_t>(INT_MAX, SIZE_MAX / 2 / sizeof(Entry)))
        return false;
    auto *moved = static_cast<Entry *>(realloc(hash->entries, room * sizeof(Entry)));
    if (moved == nullptr)
        return false;
    hash->entries = moved;
    hash->room = room;
    return true;
}

// Keeps half of the index free for one more entry.
bool grow_slots(tagKLIBSZHASH *hash)
{
    if ((hash->count + 1) * 2 <= hash->slot_count)
        return true;
    const size_t slot_count = hash->slot_count * 2;
    auto *slots = static_cast<uint32_t *>(calloc(slot_count, sizeof(uint32_t)));
    if (slots == nullptr)
        return false;
    free(hash->slots);
    hash->slots = slots;
    hash->slot_count = slot_count;
    for (uint32_t i = 0; i < hash->count; ++i) {
        const Entry &entry = hash->entries[i];
        *slot_of(hash, entry.hash, {entry.key, entry.key_length}) = i + 1;
    }
    return true;
}

} // namespace

namespace kavo {

const Entry *find(const tagKLIBSZHASH *hash, std::string_view key)
{
    const uint32_t slot = *slot_of(hash, hash_of(key), key);
    return slot == 0 ? nullptr : &hash->entries[slot - 1];
}

bool set(tagKLIBSZHASH *hash, std::string_view key, std::string_view value)
{
    key = {key.data(), strnlen(key.data(), key.size())}; // as those who ask for it can spell it
    // Copied first: the value may be one that the hash itself holds.
    char *copy = strndup(value.data(), value.size());
    if (copy == nullptr)
        return false;
    const size_t hashed = hash_of(key);
    if (const uint32_t slot = *slot_of(hash, hashed, key); slot != 0) {
        Entry &entry = hash->entries[slot - 1];
        free(entry.value);
        entry.value = copy;
        return true;
    }
    char *name = strndup(key.data(), key.size());
    if (name == nullptr || !grow_entries(hash) || !grow_slots(hash)) {
        free(name);
        free(copy);
        return false;
    }
    hash->entries[hash->count] = {hashed, key.size(), name, copy};
    *slot_of(hash, hashed, key) = static_cast<uint32_t>(++hash->count);
    return true;
}

} // namespace kavo

extern "C" PKLIBSZHASH KLIBCSzHashAlloc(int cBucket)
{
    if (cBucket < 0)
        return kavo::fail(kavo::ERROR_PARAMETER, nullptr);
    auto *hash = static_cast<PKLIBSZHASH>(calloc(1, sizeof(tagKLIBSZHASH)));
    if (hash == nullptr)
        return kavo::fail(kavo::ERROR_MEMORY, nullptr);
    hash->slot_count = std::bit_ceil(std::clamp(static_cast<size_t>(cBucket), FEWEST_SLOTS, MOST_FIRST_SLOTS));
    hash->slots = static_cast<uint32_t *>(calloc(hash->slot_count, sizeof(uint32_t)));
    if (hash->slots == nullptr) {
        free(hash);
        return kavo::fail(kavo::ERROR_MEMORY, nullptr);
    }
    return hash;
}

extern "C" int KLIBCSzHashSetValue(PKLIBSZHASH *ppHash, const char *szKey, const char *szValue)
{
    if (ppHash == nullptr || *ppHash == nullptr || szKey == nullptr || szValue == nullptr)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    return kavo::set(*ppHash, szKey, szValue) ? 0 : kavo::fail(kavo::ERROR_MEMORY, -1);
}

extern "C" const char *KLIBCSzHashGetValue(PKLIBSZHASH pHash, const char *szKey)
{
    if (pHash == nullptr || szKey == nullptr)
        return kavo::fail(kavo::ERROR_PARAMETER, nullptr);
    const Entry *entry = kavo::find(pHash, szKey);
    return entry == nullptr ? nullptr : entry->value;
}

extern "C" int KLIBCSzHashEnumKey(PKLIBSZHASH pHash, PKLIBSZLIST *ppList)
{
    if (pHash == nullptr || ppList == nullptr || *ppList == nullptr)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    const int before = (*ppList)->nItem;
    for (size_t i = 0; i < pHash->count; ++i) {
        if (!kavo::push(ppList, {pHash->entries[i].key, pHash->entries[i].key_length})) {
            kavo::cut_list(*ppList, before);
            return kavo::fail(kavo::ERROR_MEMORY, -1);
        }
    }
    return static_cast<int>(pHash->count);
}

extern "C" void KLIBCHashRemoveAll(PKLIBSZHASH pHash)
{
    if (pHash == nullptr)
        return;
    for (size_t i = 0; i < pHash->count; ++i) {
        free(pHash->entries[i].key);
        free(pHash->entries[i].value);
    }
    pHash->count = 0;
    memset(pHash->slots, 0, pHash->slot_count * sizeof(uint32_t));
}

extern "C" void KLIBCSzHashFree(PKLIBSZHASH pHash)
{
    if (pHash == nullptr)
        return;
    KLIBCHashRemoveAll(pHash);
    free(pHash->entries);
    free(pHash->slots);
    free(pHash);
}
