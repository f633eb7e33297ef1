#include "log/CryptoMemory.h"

#include <windows.h>

#include <openssl/crypto.h>

#include "sync/OnceGuard.h"
#include "sync/Trap.h"

namespace vel {
namespace {

// Lives as long as the process.
constinit HANDLE crypto_heap = nullptr;

void* allocate(std::size_t size, const char* /*file*/, int /*line*/) {
  return HeapAlloc(crypto_heap, 0, size);
}

void release(void* block, const char* /*file*/, int /*line*/) {
  if (block != nullptr) HeapFree(crypto_heap, 0, block);
}

void* resize(void* block, std::size_t size, const char* file, int line) {
  if (block == nullptr) return allocate(size, file, line);
  if (size != 0) return HeapReAlloc(crypto_heap, 0, block, size);
  release(block, file, line);
  return nullptr;
}

}  // namespace

void prepare_libcrypto() noexcept {
  static constinit OnceGuard guard;
  guard.run([] {
    crypto_heap = HeapCreate(0, 0, 0);
    if (crypto_heap == nullptr ||
        CRYPTO_set_mem_functions(allocate, resize, release) != 1) {
      vel_trap_in_lock();
    }
    OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT | OPENSSL_INIT_NO_LOAD_CONFIG,
                        nullptr);
  });
}

}  // namespace vel
