#include "smartcols.h"

#include <stdexcept>
#include <string>

#include <dlfcn.h>

namespace cli {
namespace {

constexpr char LIBRARY[] = "libsmartcols.so.1";

class Loader {
public:
    Loader() : library_(dlopen(LIBRARY, RTLD_NOW | RTLD_LOCAL))
    {
        if (library_ == nullptr)
            throw std::runtime_error(std::string("tables need ") + LIBRARY + ": " + dlerror());
    }

    template <class Function> void find(const char *name, Function &function) const
    {
        function = reinterpret_cast<Function>(dlsym(library_, name));
        if (function == nullptr)
            throw std::runtime_error(std::string(LIBRARY) + " is too old: " + dlerror());
    }

private:
    void *library_; // stays loaded until the process ends
};

Smartcols load()
{
    const Loader loader;
    Smartcols loaded{};
    loader.find("scols_new_table", loaded.new_table);
    loader.find("scols_unref_table", loaded.unref_table);
    loader.find("scols_table_enable_colors", loaded.enable_colors);
    loader.find("scols_table_enable_noheadings", loaded.enable_noheadings);
    loader.find("scols_table_set_column_separator", loaded.set_column_separator);
    loader.find("scols_table_new_column", loaded.new_column);
    loader.find("scols_column_get_header", loaded.get_header);
    loader.find("scols_table_new_line", loaded.new_line);
    loader.find("scols_line_set_data", loaded.set_data);
    loader.find("scols_line_get_cell", loaded.get_cell);
    loader.find("scols_cell_set_color", loaded.set_color);
    loader.find("scols_print_table_to_string", loaded.print_to_string);
    return loaded;
}

} // namespace

const Smartcols &smartcols()
{
    static const Smartcols loaded = load();
    return loaded;
}

} // namespace cli
