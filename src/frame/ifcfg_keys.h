// The keys of an ifcfg file that are set and removed together.
#pragma once

#include "frame/owner.h"
#include "frame/paths.h"

namespace kavonet {

class IfcfgKeys {
public:
    IfcfgKeys() : set_(KLIBCSzHashAlloc(BUCKETS)), removed_(KLIBCSzHashAlloc(BUCKETS)) {}

    // False when there is no memory for them.
    explicit operator bool() const { return set_ && removed_ && complete_; }

    void set(const char *key, const char *value) { put(set_, key, value); }
    void remove(const char *key) { put(removed_, key, ""); }
    // For those who add keys by themselves.
    PKLIBSZHASH *set_keys() { return set_.handle(); }

    // Rewrites the file; false when it could not be.
    bool write(const Path &path)
    {
        return complete_ && KLIBCFileSetKeys(path.c_str(), set_.get(), removed_.get(), "%s=%s\n") >= 0;
    }

private:
    static constexpr int BUCKETS = 1024;

    void put(StringHash &hash, const char *key, const char *value)
    {
        complete_ = complete_ && KLIBCSzHashSetValue(hash.handle(), key, value) >= 0;
    }

    StringHash set_;
    StringHash removed_;
    bool complete_ = true;
};

} // namespace kavonet
