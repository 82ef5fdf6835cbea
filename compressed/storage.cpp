// Run-coded storage is not built yet: requests for it take the plain path,
// and no bitmap can reach the compressed branches below.
#include "compressed/storage.h"

namespace ztk::compressed {

bool Available() { return false; }
int32_t Allocate(BitmapHandle *) { return Z_ERR_NOMEM; }
void Release(BitmapHandle *) {}
int32_t ChangeHeight(BitmapHandle *, int32_t) { return Z_ERR_NOMEM; }
int32_t RowGet(BitmapHandle *, void *, uint32_t, uint32_t, uint32_t) {
    return Z_ERR_NOMEM;
}
int32_t RowPut(BitmapHandle *, const void *, uint32_t, uint32_t, uint32_t) {
    return Z_ERR_NOMEM;
}

} // namespace ztk::compressed
