#include "core/list.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "core/fail.h"

namespace {

struct List {
    KLIBSZLIST head; // what callers see; first
    int room;
    char *items[];
};
static_assert(offsetof(List, head) == 0);

constexpr size_t MOST = std::min<size_t>(INT_MAX, (SIZE_MAX / 2 - sizeof(List)) / sizeof(char *));

List *whole(PKLIBSZLIST list)
{
    return reinterpret_cast<List *>(list);
}

List *resize(List *list, size_t room)
{
    if (room > MOST)
        return nullptr;
    auto *moved = static_cast<List *>(realloc(list, sizeof(List) + room * sizeof(char *)));
    if (moved != nullptr)
        moved->room = static_cast<int>(room);
    return moved;
}

// Room for one more string; half as much again each time, so that appending stays cheap however long the list grows.
bool grow(PKLIBSZLIST *list)
{
    const size_t used = static_cast<size_t>((*list)->nItem);
    if (used < static_cast<size_t>(whole(*list)->room))
        return true;
    List *moved = resize(whole(*list), std::max<size_t>(8, used + used / 2));
    if (moved == nullptr)
        return false;
    *list = &moved->head;
    return true;
}

} // namespace

namespace kavo {

bool push(PKLIBSZLIST *list, std::string_view text)
{
    if (!grow(list))
        return false;
    char *copy = strndup(text.data(), text.size());
    if (copy == nullptr)
        return false;
    whole(*list)->items[(*list)->nItem++] = copy;
    return true;
}

void cut_list(PKLIBSZLIST list, int n)
{
    while (list->nItem > n)
        free(whole(list)->items[--list->nItem]);
}

char **strings(PKLIBSZLIST list)
{
    return whole(list)->items;
}

} // namespace kavo

extern "C" PKLIBSZLIST KLIBCSzListAlloc(int cItem)
{
    if (cItem < 0)
        return kavo::fail(kavo::ERROR_PARAMETER, nullptr);
    List *list = resize(nullptr, static_cast<size_t>(cItem));
    if (list == nullptr)
        return kavo::fail(kavo::ERROR_MEMORY, nullptr);
    list->head.nItem = 0;
    return &list->head;
}

extern "C" int KLIBCSzListPush(PKLIBSZLIST *ppList, const char *sz)
{
    if (ppList == nullptr || *ppList == nullptr || sz == nullptr)
        return kavo::fail(kavo::ERROR_PARAMETER, -1);
    return kavo::push(ppList, sz) ? 0 : kavo::fail(kavo::ERROR_MEMORY, -1);
}

extern "C" const char *KLIBCSzListGet(const KLIBSZLIST *pList, int i)
{
    if (pList == nullptr)
        return kavo::fail(kavo::ERROR_PARAMETER, nullptr);
    if (i < 0 || i >= pList->nItem)
        return nullptr;
    return reinterpret_cast<const List *>(pList)->items[i];
}

extern "C" void KLIBCSzListRemoveAll(PKLIBSZLIST pList)
{
    if (pList != nullptr)
        kavo::cut_list(pList, 0);
}

extern "C" void KLIBCSzListFree(PKLIBSZLIST pList)
{
    if (pList == nullptr)
        return;
    kavo::cut_list(pList, 0);
    free(whole(pList));
}
