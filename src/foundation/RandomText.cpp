#include "foundation/RandomText.h"

#include <windows.h>
#include <wincrypt.h>

#include <cstdlib>
#include <limits>
#include <vector>

#include "sync/LastErrorKeeper.h"

namespace vel {
namespace {

constexpr wchar_t kHardwareProvider[] =
    L"Intel Hardware Cryptographic Service Provider";
constexpr DWORD kHardwareProviderType = 22;
constexpr DWORD kTicksPerSeed = 10;
constexpr std::size_t kShortestChosenName = 16;
constexpr int kChosenNameSpread = 16;

bool from_provider(const wchar_t* name, DWORD type, DWORD flags, void* buffer,
                   std::size_t size) {
  if (size > std::numeric_limits<DWORD>::max()) return false;
  HCRYPTPROV provider = 0;
  if (!CryptAcquireContextW(&provider, nullptr, name, type, flags)) {
    return false;
  }
  const bool filled = CryptGenRandom(provider, static_cast<DWORD>(size),
                                     static_cast<BYTE*>(buffer));
  CryptReleaseContext(provider, 0);
  return filled;
}

bool from_standard_provider(void* buffer, std::size_t size) {
  return from_provider(nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT, buffer,
                       size);
}

bool from_hardware_provider(void* buffer, std::size_t size) {
  return from_provider(kHardwareProvider, kHardwareProviderType, 0, buffer,
                       size);
}

void seed_by_tick() {
  srand(GetTickCount() / kTicksPerSeed);
}

void from_runtime(unsigned char* bytes, std::size_t size) {
  seed_by_tick();
  for (std::size_t i = 0; i < size; ++i) {
    bytes[i] = static_cast<unsigned char>(rand() & 0xff);
  }
}

void mix_in_screen(unsigned char* bytes, std::size_t size) {
  const HWND desktop = GetDesktopWindow();
  RECT area = {};
  GetWindowRect(desktop, &area);
  const int width = area.right - area.left;
  const int height = area.bottom - area.top;
  const HDC screen = GetDC(desktop);
  if (screen == nullptr) return;
  for (std::size_t i = 0; width > 0 && height > 0 && i < size; ++i) {
    const int place = bytes[i] * 4;
    const COLORREF pixel = GetPixel(screen, place % width, place % height);
    const int sum = GetRValue(pixel) + GetGValue(pixel) + GetBValue(pixel);
    bytes[i] = static_cast<unsigned char>(bytes[i] ^ (sum / 3));
  }
  ReleaseDC(desktop, screen);
}

}  // namespace

void RandomBytesFrom(const RandomSources& sources, void* buffer,
                     std::size_t size) {
  LastErrorKeeper keeper;
  auto* bytes = static_cast<unsigned char*>(buffer);
  const bool has_standard = sources.standard(buffer, size);
  const bool has_hardware = sources.hardware(buffer, size);
  // Kept as it is: what the hardware gave is lost without the standard source.
  if (!has_standard) from_runtime(bytes, size);
  if (!has_standard && !has_hardware) mix_in_screen(bytes, size);
}

void RandomBytes(void* buffer, std::size_t size) {
  RandomBytesFrom({from_standard_provider, from_hardware_provider}, buffer,
                  size);
}

std::wstring RandomName(std::size_t length) {
  if (length == kRandomNameLength) {
    seed_by_tick();
    length = kShortestChosenName +
             static_cast<std::size_t>(rand() % kChosenNameSpread);
  }
  std::vector<unsigned char> bytes(length);
  RandomBytes(bytes.data(), length);
  std::wstring name;
  name.reserve(length);
  for (const unsigned char byte : bytes) {
    name += kRandomNameAlphabet[byte % kRandomNameAlphabet.size()];
  }
  return name;
}

}  // namespace vel
