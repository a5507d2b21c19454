// The table library, loaded when the first table is made: most runs of scripts print JSON and need not pay for it.
#pragma once

#include <libsmartcols.h>

namespace cli {

// The functions of the table library that the command uses.
struct Smartcols {
    decltype(&scols_new_table) new_table;
    decltype(&scols_unref_table) unref_table;
    decltype(&scols_table_enable_colors) enable_colors;
    decltype(&scols_table_enable_noheadings) enable_noheadings;
    decltype(&scols_table_set_column_separator) set_column_separator;
    decltype(&scols_table_new_column) new_column;
    decltype(&scols_column_get_header) get_header;
    decltype(&scols_table_new_line) new_line;
    decltype(&scols_line_set_data) set_data;
    decltype(&scols_line_get_cell) get_cell;
    decltype(&scols_cell_set_color) set_color;
    decltype(&scols_print_table_to_string) print_to_string;
};

// Throws std::runtime_error when the library is not installed.
const Smartcols &smartcols();

} // namespace cli
