#include "support/read_back.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <sys/stat.h>

#include "kavo/core.h"

namespace support {

namespace fs = std::filesystem;

std::string read_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void write_file(const std::string &path, const std::string &content, unsigned mode)
{
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
    chmod(path.c_str(), mode);
}

bool exists(const std::string &path)
{
    return fs::exists(fs::symlink_status(path));
}

std::vector<std::string> entries(const std::string &folder)
{
    std::vector<std::string> names;
    std::error_code error;
    for (const auto &entry : fs::directory_iterator(folder, error))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

std::ostream &operator<<(std::ostream &out, const Error &error)
{
    return out << std::hex << "0x" << error.code << std::dec << " " << error.file << ":" << error.line;
}

Error last_error()
{
    return {KLIBCErrGet(), KLIBCErrorGetFile(), KLIBCErrorGetLine()};
}

void clear_error()
{
    KLIBCErrSetEx(0, "", 0);
}

std::vector<std::string> open_descriptors()
{
    return entries("/proc/self/fd");
}

} // namespace support
