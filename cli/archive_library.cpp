#include "archive_library.h"

#include <string>

#include <dlfcn.h>

#include "backup_archive.h"

namespace cli {
namespace {

constexpr char LIBRARY[] = "libarchive.so.13";
constexpr char ADVICE[] = "install the package libarchive13";

template <class Function> void find(void *library, const char *name, Function &function)
{
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (function == nullptr)
        throw BackupError(std::string(LIBRARY) + " is too old: " + dlerror(), ADVICE);
}

ArchiveLibrary load()
{
    void *library = dlopen(LIBRARY, RTLD_NOW | RTLD_LOCAL); // stays loaded until the process ends
    if (library == nullptr)
        throw BackupError(std::string("it needs ") + LIBRARY + ": " + dlerror(), ADVICE);
    ArchiveLibrary loaded{};
#define USE(name) find(library, #name, loaded.name);
    ARCHIVE_FUNCTIONS(USE)
#undef USE
    return loaded;
}

} // namespace

const ArchiveLibrary &archive_library()
{
    static const ArchiveLibrary loaded = load();
    return loaded;
}

} // namespace cli
