#include "plugin/event.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kavo {
namespace {

constexpr char PREFIX[] = "KAVO_ARG_";
constexpr size_t PREFIX_LENGTH = sizeof PREFIX - 1;

bool belongs_to(const Variable &variable, const char *key)
{
    return variable.key_length == strlen(key) && memcmp(variable.text + PREFIX_LENGTH, key, variable.key_length) == 0;
}

} // namespace

Variables::~Variables()
{
    while (first_ != nullptr) {
        Variable *next = first_->next;
        free(first_);
        first_ = next;
    }
}

size_t Variables::count() const
{
    size_t count = 0;
    for (const Variable *variable = first_; variable != nullptr; variable = variable->next)
        ++count;
    return count;
}

bool Variables::append(const char *key, const char *suffix, const char *value)
{
    const size_t key_length = strlen(key);
    const size_t name_length = PREFIX_LENGTH + key_length + strlen(suffix);
    const size_t room = name_length + 1 + strlen(value) + 1;
    auto *variable = static_cast<Variable *>(calloc(1, sizeof(Variable) + room));
    if (variable == nullptr)
        return false;
    variable->key_length = key_length;
    variable->name_length = name_length;
    snprintf(variable->text, room, "%s%s%s=%s", PREFIX, key, suffix, value);
    *end_ = variable;
    end_ = &variable->next;
    return true;
}

bool Variables::has_name_of(const Variable &other) const
{
    for (const Variable *variable = first_; variable != nullptr; variable = variable->next) {
        if (variable->name_length == other.name_length && memcmp(variable->text, other.text, other.name_length) == 0)
            return true;
    }
    return false;
}

void Variables::replace(const char *key, Variables &fresh)
{
    Variable **at = &first_;
    while (*at != nullptr) {
        Variable *variable = *at;
        if (!belongs_to(*variable, key) && !fresh.has_name_of(*variable)) {
            at = &variable->next;
            continue;
        }
        *at = variable->next;
        free(variable);
    }
    *at = fresh.first_;
    end_ = fresh.first_ == nullptr ? at : fresh.end_;
    fresh.first_ = nullptr;
    fresh.end_ = &fresh.first_;
}

} // namespace kavo
