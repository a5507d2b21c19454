// Stands in for libFuzzer where it is not at hand: runs every file of a corpus, then a number of mutations of them. The
// seed is fixed, so that a failure comes back.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "support/read_back.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

constexpr size_t LONGEST = 600;

std::mt19937 dice(1);

size_t below(size_t limit)
{
    return std::uniform_int_distribution<size_t>(0, limit - 1)(dice);
}

std::string mutated(std::string text, const std::string &other)
{
    // What parsers look at comes more often than any byte.
    static const std::string LIKELY = "0123456789abcdefxX.:/-+ \n{}[],\"";
    for (size_t changes = 1 + below(4); changes > 0; --changes) {
        const size_t at = below(text.size() + 1);
        const char c = below(8) == 0 ? static_cast<char>(below(256)) : LIKELY[below(LIKELY.size())];
        switch (below(5)) {
        case 0:
            text.insert(at, 1, c);
            break;
        case 1:
            text.insert(at, below(40), c);
            break;
        case 2:
            text.erase(at, 1 + below(4));
            break;
        case 3:
            text.replace(at, 1, 1, c);
            break;
        default:
            text = text.substr(0, at) + other.substr(below(other.size() + 1));
        }
    }
    text.resize(std::min(text.size(), LONGEST));
    return text;
}

void run(const std::string &text)
{
    // An exact copy on the heap, so that a sanitizer sees a read beyond its end.
    const std::vector<uint8_t> bytes(text.begin(), text.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        fprintf(stderr, "usage: %s <runs> <corpus folder>\n", argv[0]);
        return 2;
    }
    std::vector<std::string> corpus = {""};
    for (const std::string &name : support::entries(argv[2]))
        corpus.push_back(support::read_file(std::string(argv[2]) + "/" + name));
    if (corpus.size() == 1) {
        fprintf(stderr, "%s: no corpus in %s\n", argv[0], argv[2]);
        return 1;
    }
    for (const std::string &text : corpus)
        run(text);
    const int runs = std::stoi(argv[1]);
    for (int i = 0; i < runs; ++i)
        run(mutated(corpus[below(corpus.size())], corpus[below(corpus.size())]));
    printf("%zu inputs of the corpus and %d mutations hold\n", corpus.size(), runs);
    return 0;
}
