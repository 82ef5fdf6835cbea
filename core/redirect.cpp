// Redirected I/O: the five file functions that the file-format modules call,
// replaceable per thread. Nothing in the kernel itself uses them.
#include "core/context.h"

namespace {

// Exchanges one slot with the function at `address`: a non-null function
// goes in, and the address receives what was there. A null function is a
// plain query.
template <typename Fn>
void Exchange(Fn &slot, Fn *address) {
    if (address == nullptr)
        return;
    Fn kept = slot;
    if (*address != nullptr)
        slot = *address;
    *address = kept;
}

template <typename Fn>
Fn OrDefault(Fn fn, Fn fallback) {
    return fn != nullptr ? fn : fallback;
}

} // namespace

extern "C" {

void ZAPI Z_RedirectIO(ZOPENPROC open, ZREADPROC read, ZWRITEPROC write,
                       ZSEEKPROC seek, ZCLOSEPROC close) {
    ztk::ThreadContext &context = ztk::Context();
    context.RedirectOpen = OrDefault(open, Z_OsOpen);
    context.RedirectRead = OrDefault(read, Z_OsRead);
    context.RedirectWrite = OrDefault(write, Z_OsWrite);
    context.RedirectSeek = OrDefault(seek, Z_OsSeek);
    context.RedirectClose = OrDefault(close, Z_OsClose);
}

void ZAPI Z_FilterIO(ZOPENPROC *open, ZREADPROC *read, ZWRITEPROC *write,
                     ZSEEKPROC *seek, ZCLOSEPROC *close) {
    ztk::ThreadContext &context = ztk::Context();
    Exchange(context.RedirectOpen, open);
    Exchange(context.RedirectRead, read);
    Exchange(context.RedirectWrite, write);
    Exchange(context.RedirectSeek, seek);
    Exchange(context.RedirectClose, close);
}

// A thread working on the zeroed fallback block has null slots until
// someone calls Z_RedirectIO; such a call answers with the slot's failure
// value instead of jumping through null.
ZHANDLE ZAPI Z_RedirectedOpen(const char *name, int32_t openFlags,
                              int32_t permission) {
    ZOPENPROC fn = ztk::Context().RedirectOpen;
    return fn != nullptr ? fn(name, openFlags, permission) : Z_INVALID_HANDLE;
}

int32_t ZAPI Z_RedirectedRead(ZHANDLE file, void *buffer, uint32_t count) {
    ZREADPROC fn = ztk::Context().RedirectRead;
    return fn != nullptr ? fn(file, buffer, count) : -1;
}

int32_t ZAPI Z_RedirectedWrite(ZHANDLE file, const void *buffer,
                               uint32_t count) {
    ZWRITEPROC fn = ztk::Context().RedirectWrite;
    return fn != nullptr ? fn(file, buffer, count) : -1;
}

uint32_t ZAPI Z_RedirectedSeek(ZHANDLE file, int32_t offset, int32_t origin) {
    ZSEEKPROC fn = ztk::Context().RedirectSeek;
    return fn != nullptr ? fn(file, offset, origin) : 0xFFFFFFFFu;
}

int32_t ZAPI Z_RedirectedClose(ZHANDLE file) {
    ZCLOSEPROC fn = ztk::Context().RedirectClose;
    return fn != nullptr ? fn(file) : -1;
}

} // extern "C"
