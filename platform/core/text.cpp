#include <cstdlib>
#include <cstring>
#include <functional>

#include "core/fail.h"
#include "core/list.h"

namespace {

bool is_space(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

int split(const char *text, const char *separators, PKLIBSZLIST *list)
{
    const int before = (*list)->nItem;
    for (text += strspn(text, separators); *text != '\0'; text += strspn(text, separators)) {
        const size_t length = strcspn(text, separators);
        if (!kavo::push(list, {text, length})) {
            kavo::cut_list(*list, before);
            return kavo::fail(kavo::ERROR_MEMORY, -1);
        }
        text += length;
    }
    return (*list)->nItem - before;
}

} // namespace

extern "C" void KLIBCStrTrimSpace(char *sz, int flags)
{
    if (sz == nullptr || flags != 0) {
        KLIBCErrSetEx(kavo::ERROR_PARAMETER, kavo::bare_name(__FILE__), __LINE__);
        return;
    }
    const char *begin = sz;
    while (is_space(*begin))
        ++begin;
    size_t length = strlen(begin);
    while (length > 0 && is_space(begin[length - 1]))
        --length;
    memmove(sz, begin, length);
    sz[length] = '\0';
}

extern "C" int KLIBCStrSep(const char *sz, const char *szSep, PKLIBSZLIST *ppList)
{
    if (sz == nullptr || szSep == nullptr || ppList == nullptr || *ppList == nullptr)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    return split(sz, szSep, ppList);
}

extern "C" int KLIBCStrTok(const char *sz, const char *szSep, PKLIBSZLIST *ppList)
{
    if (sz == nullptr || szSep == nullptr || ppList == nullptr || *ppList == nullptr)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    return split(sz, szSep, ppList);
}

extern "C" char *KLIBCStrTokIndex(char *sz, const char *szSep)
{
    if (sz == nullptr || szSep == nullptr || *szSep == '\0')
        return kavo::fail(kavo::ERROR_PARAMETER, nullptr);
    char *found = strstr(sz, szSep);
    if (found == nullptr)
        return nullptr;
    *found = '\0';
    return found + strlen(szSep);
}

extern "C" int KLIBCStrCat(char **ppBuf, size_t *pcb, const char *sz)
{
    if (ppBuf == nullptr || pcb == nullptr || sz == nullptr)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    char *buffer = *ppBuf;
    const size_t room = buffer == nullptr ? 0 : *pcb;
    const size_t used = room == 0 ? 0 : strnlen(buffer, room);
    if (room != 0 && used == room) // not a text
        return kavo::fail(kavo::ERROR_PARAMETER, -1);

    const size_t more = strlen(sz);
    if (used + more >= room) {
        // The text may be a part of the buffer, which is about to move.
        const bool own = room != 0 && !std::less<>()(sz, static_cast<const char *>(buffer)) &&
                         std::less<>()(sz, static_cast<const char *>(buffer) + room);
        const size_t offset = own ? static_cast<size_t>(sz - buffer) : 0;
        const size_t wanted = (used + more + 1) + (used + more + 1) / 2;
        char *moved = static_cast<char *>(realloc(buffer, wanted));
        if (moved == nullptr)
            return kavo::fail(kavo::ERROR_MEMORY, -1);
        if (own)
            sz = moved + offset;
        *ppBuf = buffer = moved;
        *pcb = wanted;
    }
    memmove(buffer + used, sz, more);
    buffer[used + more] = '\0';
    return 0;
}
