// The JSON of the alias store: interfaces, each with an array of aliases.
#pragma once

#include <cstddef>

#include <json-c/json.h>

#include "frame/owner.h"
#include "frame/text.h"

namespace kavonet {

// A reference to a JSON value.
using JsonValue = Owned<json_object, json_object_put>;

inline constexpr char ALIASES_KEY[] = "ip_alias";

// The members of an object in their order, for range-based loops; none for any other value. The values may be changed in
// the loop, the set of members may not.
class JsonMembers {
public:
    struct Member {
        const char *name;
        json_object *value;
    };

    class Iterator {
    public:
        explicit Iterator(const lh_entry *entry) : entry_(entry) {}
        Member operator*() const
        {
            return {static_cast<const char *>(lh_entry_k(entry_)), static_cast<json_object *>(lh_entry_v(entry_))};
        }
        Iterator &operator++()
        {
            entry_ = entry_->next;
            return *this;
        }
        bool operator!=(const Iterator &other) const { return entry_ != other.entry_; }

    private:
        const lh_entry *entry_;
    };

    explicit JsonMembers(const json_object *object) : table_(json_object_get_object(object)) {}
    [[nodiscard]] Iterator begin() const { return Iterator(table_ == nullptr ? nullptr : table_->head); }
    [[nodiscard]] Iterator end() const { return Iterator(nullptr); }

private:
    const lh_table *table_;
};

// The elements of an array, likewise; none for null.
class JsonElements {
public:
    class Iterator {
    public:
        Iterator(const json_object *array, size_t i) : array_(array), i_(i) {}
        json_object *operator*() const { return json_object_array_get_idx(array_, i_); }
        Iterator &operator++()
        {
            ++i_;
            return *this;
        }
        bool operator!=(const Iterator &other) const { return i_ != other.i_; }

    private:
        const json_object *array_;
        size_t i_;
    };

    explicit JsonElements(const json_object *array) : array_(array) {}
    [[nodiscard]] Iterator begin() const { return {array_, 0}; }
    [[nodiscard]] Iterator end() const { return {array_, array_ == nullptr ? 0 : json_object_array_length(array_)}; }

private:
    const json_object *array_;
};

// The array of an interface's aliases; null when the member is missing or no array.
inline json_object *aliases_of(const json_object *interface)
{
    json_object *aliases = nullptr;
    if (!json_object_object_get_ex(interface, ALIASES_KEY, &aliases) || !json_object_is_type(aliases, json_type_array))
        return nullptr;
    return aliases;
}

// Gives an object a member, or puts a new value in the place of the old one, which takes no memory. The value goes with it
// on success and on failure; null, which is what is left of a value that could not be made, is a failure.
inline bool set_member(json_object *object, const char *name, json_object *value)
{
    if (value == nullptr)
        return false;
    if (json_object_object_add(object, name, value) == 0)
        return true;
    json_object_put(value);
    return false;
}

// Appends to an array, likewise.
inline bool append_element(json_object *array, json_object *value)
{
    if (value == nullptr)
        return false;
    if (json_object_array_add(array, value) == 0)
        return true;
    json_object_put(value);
    return false;
}

// Appends a value that stands elsewhere too.
inline bool share_element(json_object *array, json_object *value)
{
    return append_element(array, json_object_get(value));
}

// An alias as people and subscribers see it.
inline Text<20> alias_text(const char *address, int prefix)
{
    return Text<20>("%s/%d", address, prefix);
}

} // namespace kavonet
