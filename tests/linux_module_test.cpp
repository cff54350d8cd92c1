// The shared library as a plug-in loads it: at run time, next to others, and away again.
#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "tests/support/support.h"

namespace {

namespace fs = std::filesystem;

// A copy of the library that this program is linked with: another file, so another module with its own state.
class LibraryCopy {
 public:
  LibraryCopy() : path_(fs::temp_directory_path() / ("libmoxa1_copy_" + std::to_string(getpid()) + ".so")) {
    Dl_info info;
    if (!dladdr(dlsym(RTLD_DEFAULT, "moxGetLibVersion"), &info)) throw std::runtime_error("the library is nowhere");
    fs::copy_file(info.dli_fname, path_, fs::copy_options::overwrite_existing);
  }
  ~LibraryCopy() { fs::remove(path_); }
  LibraryCopy(const LibraryCopy&) = delete;
  LibraryCopy& operator=(const LibraryCopy&) = delete;

  void* load() const { return dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL); }
  bool loaded() const {
    void* const handle = dlopen(path_.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle) dlclose(handle);
    return handle != nullptr;
  }

 private:
  fs::path path_;
};

template <class F>
F* symbol(void* handle, const char* name) {
  return reinterpret_cast<F*>(dlsym(handle, name));
}

TEST(LinuxModule, LoadsAndUnloadsAndLeavesNothing) {
  const LibraryCopy copy;
  size_t before = 0;
  for (int i = 0; i < 1100; ++i) {  // more than there are thread-specific keys
    void* const handle = copy.load();
    ASSERT_NE(handle, nullptr) << i << ": " << dlerror();
    const auto setStatus = symbol<decltype(moxSetErrStatus)>(handle, "moxSetErrStatus");
    const auto getStatus = symbol<decltype(moxGetErrStatus)>(handle, "moxGetErrStatus");
    ASSERT_NE(getStatus, &moxGetErrStatus);
    ASSERT_EQ(getStatus(), 0);
    setStatus(-3);
    std::thread([getStatus] { EXPECT_EQ(getStatus(), 0); }).join();
    ASSERT_EQ(dlclose(handle), 0);
    if (i == 0) {
      EXPECT_FALSE(copy.loaded());
      before = mallinfo2().uordblks;
    }
  }
  EXPECT_LT(mallinfo2().uordblks, before + 200 * 1024);  // 1100 records are 2.5 MB
  pthread_key_t key;
  ASSERT_EQ(pthread_key_create(&key, nullptr), 0);
  pthread_key_delete(key);
}

TEST(LinuxModule, ThreadsMayOutliveIt) {
  const LibraryCopy copy;
  void* const handle = copy.load();
  ASSERT_NE(handle, nullptr);
  std::atomic<int> step{0};
  std::thread survivor([&] {
    symbol<decltype(moxSetErrMode)>(handle, "moxSetErrMode")(MOX_ErrModeSilent);
    void* const record = symbol<decltype(moxUndContext)>(handle, "moxUndContext")();
    step = 1;
    step.notify_one();
    step.wait(1);
    std::free(record);  // left alone, so it is still a block of malloc
  });
  step.wait(0);
  dlclose(handle);
  EXPECT_FALSE(copy.loaded());
  step = 2;
  step.notify_one();
  survivor.join();  // its record's destructor is gone with the code

  // Loaded again, the calling thread starts fresh.
  void* const again = copy.load();
  EXPECT_EQ(symbol<decltype(moxGetErrMode)>(again, "moxGetErrMode")(), MOX_ErrModeLeaf);
  dlclose(again);
}

}  // namespace
