// Tables for people: aligned columns; colours at a terminal that wants them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace cli {

struct Column {
    const char *title;
    enum Side { LEFT, RIGHT } side = LEFT;
};

// One cell; an empty text stands as "-".
struct Cell {
    Cell(std::string content, const char *colour_name = nullptr) : text(std::move(content)), colour(colour_name) {}
    Cell(std::string_view content) : text(content) {}
    Cell(const char *content, const char *colour_name = nullptr) : text(content), colour(colour_name) {}

    std::string text;
    const char *colour = nullptr;
};

inline constexpr char GOOD[] = "green";
inline constexpr char BAD[] = "red";
inline constexpr char QUIET[] = "darkgray";

class Table {
public:
    explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) {}

    void row(std::vector<Cell> cells) { rows_.push_back(std::move(cells)); }

    // The table as text, coloured for standard output if that wants it. Empty when there are no rows. The header is left
    // out when every title is empty.
    [[nodiscard]] std::string text() const;

private:
    std::vector<Column> columns_;
    std::vector<std::vector<Cell>> rows_;
};

} // namespace cli
