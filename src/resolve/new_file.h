// A resolver file that is written beside its target and then put in its place.
#pragma once

#include <cstdio>

#include <unistd.h>

#include "frame/owner.h"
#include "frame/text.h"
#include "kavo/core.h"

namespace kavonet {

class NewFile {
public:
    explicit NewFile(const char *target)
        : target_(target),
          name_("%s.XXXXXX", target),
          file_(KLIBCFileTempFileOpen(name_.buffer()))
    {
    }
    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;
    // Once the file is in its place there is nothing of its own name left to remove.
    ~NewFile()
    {
        if (!file_)
            return;
        fclose(file_.release());
        unlink(name_.c_str());
    }

    explicit operator bool() const { return static_cast<bool>(file_); }

    bool write_servers(const KLIBSZLIST *servers) { return write_lines("nameserver\t", servers); }
    bool write_options(const KLIBSZLIST *options) { return write_lines("", options); }
    // Whether all of it is on the disk.
    bool flush() { return fflush(file_.get()) == 0 && fsync(fileno(file_.get())) == 0; }
    // The stream stays open: it is closed when all is done.
    bool put_in_place() { return rename(name_.c_str(), target_) == 0; }

private:
    bool write_lines(const char *beginning, const KLIBSZLIST *texts)
    {
        for (int i = 0; i < texts->nItem; ++i) {
            const char *text = KLIBCSzListGet(texts, i);
            if (text == nullptr || fprintf(file_.get(), "%s%s\n", beginning, text) < 0)
                return false;
        }
        return true;
    }

    const char *target_;
    Text<4095> name_;
    File file_;
};

} // namespace kavonet
