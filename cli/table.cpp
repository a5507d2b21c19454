#include "table.h"

#include <clocale>
#include <cstdlib>
#include <memory>
#include <new>

#include <unistd.h>

#include "session.h"
#include "smartcols.h"

namespace cli {
namespace {

using ScolsTable = std::unique_ptr<libscols_table, decltype(Smartcols::unref_table)>;

// The table library reports only that it ran out of memory.
template <class Pointer> Pointer *needed(Pointer *pointer)
{
    if (pointer == nullptr)
        throw std::bad_alloc();
    return pointer;
}

void needed(int result)
{
    if (result != 0)
        throw std::bad_alloc();
}

void add_columns(const Smartcols &scols, libscols_table *table, const std::vector<Column> &columns)
{
    bool titled = false;
    for (const Column &column : columns) {
        const int flags = column.side == Column::RIGHT ? SCOLS_FL_RIGHT : 0;
        libscols_column *added = needed(scols.new_column(table, column.title, 0, flags));
        needed(scols.set_color(scols.get_header(added), "bold"));
        titled |= column.title[0] != '\0';
    }
    needed(scols.enable_noheadings(table, titled ? 0 : 1));
}

void add_row(const Smartcols &scols, libscols_table *table, const std::vector<Cell> &cells)
{
    libscols_line *line = needed(scols.new_line(table, nullptr));
    for (size_t i = 0; i < cells.size(); ++i) {
        needed(scols.set_data(line, i, cells[i].text.empty() ? "-" : cells[i].text.c_str()));
        if (cells[i].colour != nullptr)
            needed(scols.set_color(scols.get_cell(line, i), cells[i].colour));
    }
}

// Blanks at the ends of lines are of no use to anybody.
std::string without_trailing_blanks(std::string_view text)
{
    std::string result;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        line = line.substr(0, line.find_last_not_of(' ') + 1);
        result += line;
        result += '\n';
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return result;
}

} // namespace

std::string Table::text() const
{
    if (rows_.empty())
        return "";
    // Which characters can be shown is a matter of the user's locale; all others appear as "\xHH".
    setlocale(LC_CTYPE, "");
    const Smartcols &scols = smartcols();
    const ScolsTable table(needed(scols.new_table()), scols.unref_table);
    needed(scols.enable_colors(table.get(), wants_colours(STDOUT_FILENO) ? 1 : 0));
    needed(scols.set_column_separator(table.get(), "  "));
    add_columns(scols, table.get(), columns_);
    for (const auto &cells : rows_)
        add_row(scols, table.get(), cells);
    char *printed = nullptr;
    needed(scols.print_to_string(table.get(), &printed));
    const std::unique_ptr<char, decltype(&free)> owner(printed, free);
    return without_trailing_blanks(printed);
}

} // namespace cli
