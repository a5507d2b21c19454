// What a fuzzer checks of each input.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

// Ends the program where a property does not hold; libFuzzer then keeps the input, and the replay can be repeated.
#define HOLDS(property, text)                                                                                          \
    do {                                                                                                               \
        if (!(property)) {                                                                                             \
            fprintf(stderr, "%s:%d: does not hold: %s\nfor \"%s\"\n", __FILE__, __LINE__, #property, text);            \
            abort();                                                                                                   \
        }                                                                                                              \
    } while (false)

// A text in a buffer of an exact size, so that a sanitizer sees every byte beyond it.
class ExactText {
public:
    explicit ExactText(const std::string &text) : ExactText(strlen(text.c_str()) + 1, text) {}
    ExactText(size_t size, const std::string &text) : bytes_(new char[size])
    {
        snprintf(bytes_.get(), size, "%s", text.c_str());
    }

    char *get() { return bytes_.get(); }
    std::string str() { return bytes_.get(); }

private:
    std::unique_ptr<char[]> bytes_;
};
