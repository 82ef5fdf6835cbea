// The DLL as a host sees it: loaded by name at run time, functions reached
// by name and by ordinal alike, the module started by the entry point with
// a context per thread, and unloaded and loaded again. Windows only; this
// program links nothing of the library and finds ZTKRN10N.dll beside it.
#include <gtest/gtest.h>

#include <windows.h>

#include <cstring>
#include <string>
#include <thread>

#include "ztkrn.h"

namespace {

template <typename Fn>
Fn Cast(FARPROC proc) {
    return reinterpret_cast<Fn>(reinterpret_cast<void *>(proc));
}

class Dll : public ::testing::Test {
  protected:
    void SetUp() override {
        module_ = LoadLibraryA("ZTKRN10N.dll");
        ASSERT_NE(module_, nullptr) << "error " << GetLastError();
    }
    void TearDown() override {
        if (module_ != nullptr) {
            EXPECT_TRUE(FreeLibrary(module_));
        }
    }
    template <typename Fn>
    Fn Get(const char *name) {
        return Cast<Fn>(GetProcAddress(module_, name));
    }
    HMODULE module_ = nullptr;
};

TEST_F(Dll, NamesAndOrdinalsReachTheSameFunctions) {
    struct Export {
        const char *name;
        WORD ordinal;
    };
    const Export exports[] = {
        {"DllMain", 1},
        {"Z_AccessBitmap", 100},
        {"Z_AllocateBitmap", 101},
        {"Z_FreeBitmap", 125},
        {"Z_InitBitmap", 134},
        {"Z_VersionInfo", 157},
        {"Z_OsAlloc", 174},
        {"Z_SetDefaultXResolution", 186},
    };
    for (const Export &e : exports) {
        SCOPED_TRACE(e.name);
        FARPROC byName = GetProcAddress(module_, e.name);
        ASSERT_NE(byName, nullptr);
        EXPECT_EQ(byName, GetProcAddress(module_, MAKEINTRESOURCEA(e.ordinal)));
    }
    // Names are plain, whatever the calling convention.
    EXPECT_EQ(GetProcAddress(module_, "Z_InitBitmap@16"), nullptr);
    EXPECT_EQ(GetProcAddress(module_, "_Z_InitBitmap@16"), nullptr);
}

TEST_F(Dll, EachThreadHasItsOwnSettings) {
    auto set = Get<int32_t(ZAPI *)(int32_t)>("Z_SetDefaultXResolution");
    auto get = Get<int32_t(ZAPI *)(void)>("Z_GetDefaultXResolution");
    ASSERT_NE(set, nullptr);
    ASSERT_NE(get, nullptr);
    EXPECT_EQ(set(300), 150);
    int32_t seen = 0;
    std::thread worker([&] {
        seen = get();
        set(75);
    });
    worker.join();
    EXPECT_EQ(seen, 150);
    EXPECT_EQ(get(), 300);
}

TEST_F(Dll, ABitmapLivesInTheDll) {
    auto init = Get<int32_t(ZAPI *)(BitmapHandle *, int32_t, int32_t, int32_t)>(
        "Z_InitBitmap");
    auto allocate =
        Get<int32_t(ZAPI *)(BitmapHandle *, int32_t)>("Z_AllocateBitmap");
    auto put = Get<int32_t(ZAPI *)(BitmapHandle *, const void *, uint32_t,
                                   uint32_t)>("Z_PutBitmapRow");
    auto get = Get<int32_t(ZAPI *)(BitmapHandle *, void *, uint32_t, uint32_t)>(
        "Z_GetBitmapRow");
    auto release = Get<void(ZAPI *)(BitmapHandle *)>("Z_FreeBitmap");
    ASSERT_TRUE(init && allocate && put && get && release);
    BitmapHandle bitmap{};
    ASSERT_EQ(init(&bitmap, 5, 3, 8), Z_OK);
    EXPECT_EQ(bitmap.BytesPerLine, 8u);
    ASSERT_EQ(allocate(&bitmap, MEMORY_ANY), Z_OK);
    EXPECT_EQ(bitmap.Flags & (BITMAP_ALLOCATED | BITMAP_INMEMORY | BITMAP_ONDISK),
              BITMAP_ALLOCATED | BITMAP_INMEMORY);
    const uint8_t row[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    uint8_t back[8] = {};
    EXPECT_EQ(put(&bitmap, row, 2, 8), 8);
    EXPECT_EQ(get(&bitmap, back, 2, 8), 8);
    EXPECT_EQ(std::memcmp(row, back, 8), 0);
    release(&bitmap);
    EXPECT_EQ(bitmap.Flags & BITMAP_ALLOCATED, 0u);
}

TEST_F(Dll, TheVersionRecordNamesTheProduct) {
    auto version = Get<int32_t(ZAPI *)(ZarnVersionInfo *)>("Z_VersionInfo");
    ASSERT_NE(version, nullptr);
    ZarnVersionInfo info{};
    EXPECT_EQ(version(&info), Z_OK);
    EXPECT_STREQ(info.Product, "ZARNKIT\xAE DLL for Win32");
    EXPECT_EQ(info.Major, 10);
}

// A second load after the last unload starts the module afresh.
TEST_F(Dll, UnloadAndLoadAgain) {
    auto set = Get<int32_t(ZAPI *)(int32_t)>("Z_SetDefaultXResolution");
    ASSERT_NE(set, nullptr);
    set(600);
    ASSERT_TRUE(FreeLibrary(module_));
    module_ = LoadLibraryA("ZTKRN10N.dll");
    ASSERT_NE(module_, nullptr);
    set = Get<int32_t(ZAPI *)(int32_t)>("Z_SetDefaultXResolution");
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(set(600), 150);
}

} // namespace
