// An open event: its name and the variables that carry its arguments.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kavo {

// One variable, "KAVO_ARG_<KEY>=<value>" or a part of an array. It belongs to the key that it was set with and goes
// when that key is set again.
struct Variable {
    Variable *next;
    size_t key_length;  // of the key that it belongs to, which follows "KAVO_ARG_"
    size_t name_length; // up to the '='
    char text[];
};

// Variables in the order in which they were set. Filling one never touches another, so that a call which runs out of
// memory midway leaves its event as it was.
class Variables {
public:
    Variables() = default;
    Variables(const Variables &) = delete;
    Variables &operator=(const Variables &) = delete;
    ~Variables();

    [[nodiscard]] const Variable *first() const { return first_; }
    [[nodiscard]] size_t count() const;

    // Appends "KAVO_ARG_<key><suffix>=<value>". False when out of memory.
    bool append(const char *key, const char *suffix, const char *value);

    // Takes over the variables of one key. What belonged to that key goes, and so does what has one of the new names.
    void replace(const char *key, Variables &fresh);

private:
    [[nodiscard]] bool has_name_of(const Variable &other) const;

    Variable *first_ = nullptr;
    Variable **end_ = &first_;
};

struct OpenEvent {
    OpenEvent *next;
    uintptr_t handle;
    Variables variables;
    char name[]; // "net/ipv4_change"
};

} // namespace kavo
