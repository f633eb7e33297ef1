#include "foundation/HttpTransfer.h"

#include <windows.h>
#include <wininet.h>

#include <new>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/CodePageConverter.h"
#include "foundation/Product.h"
#include "foundation/Registry.h"
#include "foundation/ReplaceChars.h"
#include "foundation/Text.h"
#include "sync/ScopedHandle.h"
#include "sync/VelFastMutex.h"

namespace vel {
namespace {

constexpr DWORD kUncached = INTERNET_FLAG_RELOAD | INTERNET_FLAG_NO_CACHE_WRITE;
constexpr std::size_t kReplyChunk = 0x10000;
constexpr INTERNET_PORT kRequestPort = INTERNET_DEFAULT_HTTP_PORT;

struct InternetHandleTraits {
  using Handle = HINTERNET;
  static HINTERNET invalid() noexcept { return nullptr; }
  static bool close(HINTERNET handle) noexcept {
    return InternetCloseHandle(handle) != 0;
  }
};
using InternetHandle = BasicScopedHandle<InternetHandleTraits>;

// Guards the pointer. The text lives to the process's end.
constinit VelFastMutex user_agent_lock;
constinit const std::wstring* user_agent_text = nullptr;

std::wstring make_user_agent() {
  const std::wstring version = RegGetString(
      HKEY_CURRENT_USER, kProductKey, L"InstalledVersion", kRegViewDefault);
  return version.empty() ? kProductName
                         : std::wstring(kProductName) + L" v" + version;
}

// Made once; a later change of the installed version doesn't show.
const wchar_t* user_agent() {
  VelFastMutex::Scope scope(user_agent_lock);
  if (user_agent_text == nullptr) {
    user_agent_text = new std::wstring(make_user_agent());
  }
  return user_agent_text->c_str();
}

InternetHandle open_session() {
  return InternetHandle(InternetOpenW(
      user_agent(), INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0));
}

InternetHandle open_url(const InternetHandle& session,
                        const std::wstring& url) {
  return InternetHandle(
      InternetOpenUrlW(session.get(), url.c_str(), nullptr, 0, kUncached, 0));
}

// A read that fails ends the reply; only exhausted memory loses it.
bool read_reply(const InternetHandle& source, std::string& reply) {
  try {
    std::string bytes;
    std::vector<char> chunk(kReplyChunk);
    DWORD came = 0;
    while (InternetReadFile(source.get(), chunk.data(),
                            static_cast<DWORD>(chunk.size()), &came) &&
           came != 0) {
      bytes.append(chunk.data(), came);
    }
    reply = std::move(bytes);
    return true;
  } catch (const std::bad_alloc&) {
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return false;
  }
}

// One piece of a URL, unescaped. `text` and `length` are the two fields of
// URL_COMPONENTSW that ask for it.
bool crack_url(const std::wstring& url, LPWSTR URL_COMPONENTSW::*text,
               DWORD URL_COMPONENTSW::*length, std::wstring& piece) {
  std::wstring buffer(url.size() + 2, L'\0');
  URL_COMPONENTSW parts = {};
  parts.dwStructSize = sizeof(parts);
  parts.*text = buffer.data();
  parts.*length = static_cast<DWORD>(buffer.size());
  if (!InternetCrackUrlW(url.c_str(), static_cast<DWORD>(url.size()),
                         ICU_ESCAPE, &parts)) {
    return false;
  }
  piece.assign(buffer, 0, parts.*length);
  return true;
}

InternetHandle connect_to_host(const InternetHandle& session,
                               const std::wstring& url) {
  std::wstring host;
  if (!crack_url(url, &URL_COMPONENTSW::lpszHostName,
                 &URL_COMPONENTSW::dwHostNameLength, host)) {
    return {};
  }
  return InternetHandle(InternetConnectW(session.get(), host.c_str(),
                                         kRequestPort, nullptr, nullptr,
                                         INTERNET_SERVICE_HTTP, 0, 0));
}

InternetHandle open_request(const InternetHandle& connection,
                            const std::wstring& url, const std::wstring& verb) {
  std::wstring path;
  if (!crack_url(url, &URL_COMPONENTSW::lpszUrlPath,
                 &URL_COMPONENTSW::dwUrlPathLength, path)) {
    return {};
  }
  const wchar_t* accept[] = {L"*/*", nullptr};
  return InternetHandle(HttpOpenRequestW(connection.get(), verb.c_str(),
                                         path.c_str(), nullptr, nullptr, accept,
                                         kUncached, 0));
}

bool send_request(const InternetHandle& request, const std::wstring& headers,
                  std::string body) {
  const bool plain = headers.empty();
  return HttpSendRequestW(request.get(), plain ? nullptr : headers.c_str(),
                          plain ? static_cast<DWORD>(-1)
                                : static_cast<DWORD>(headers.size()),
                          body.data(), static_cast<DWORD>(body.size())) != 0;
}

}  // namespace

void url_encode_char(wchar_t character, std::wstring& text) {
  const std::wstring code =
      FormatWide(L"%%%X", static_cast<unsigned>(character));
  ReplaceChars(text, [character, &code](wchar_t found) {
    return found == character ? std::wstring_view(code) : std::wstring_view();
  });
}

void url_encode(std::wstring& text) {
  for (const wchar_t character : {L'+', L'=', L'/'}) {
    url_encode_char(character, text);
  }
}

bool http_get(const std::wstring& url, std::string& reply) {
  const InternetHandle session = open_session();
  if (!session) return false;
  const InternetHandle source = open_url(session, url);
  return source && read_reply(source, reply);
}

bool http_get_text(const std::wstring& url, std::wstring& reply) {
  std::string bytes;
  if (!http_get(url, bytes)) return false;
  reply = widen(bytes);
  return true;
}

bool url_exists(const std::wstring& url) {
  const InternetHandle session = open_session();
  return session && open_url(session, url);
}

bool http_request(const std::wstring& url, const std::wstring& body,
                  std::string& reply, const std::wstring& headers,
                  const std::wstring& verb) {
  const InternetHandle session = open_session();
  if (!session) return false;
  const InternetHandle connection = connect_to_host(session, url);
  if (!connection) return false;
  const InternetHandle request = open_request(connection, url, verb);
  return request && send_request(request, headers, narrow(body)) &&
         read_reply(request, reply);
}

bool http_request_text(const std::wstring& url, const std::wstring& body,
                       std::wstring& reply, const std::wstring& headers,
                       const std::wstring& verb) {
  std::string bytes;
  if (!http_request(url, body, bytes, headers, verb)) return false;
  reply = widen(bytes);
  return true;
}

bool http_post(const std::wstring& url, const std::wstring& body,
               std::string& reply, const std::wstring& headers) {
  return http_request(url, body, reply, headers, L"POST");
}

bool http_post_text(const std::wstring& url, const std::wstring& body,
                    std::wstring& reply, const std::wstring& headers) {
  return http_request_text(url, body, reply, headers, L"POST");
}

bool http_put(const std::wstring& url, const std::wstring& body,
              std::string& reply, const std::wstring& headers) {
  return http_request(url, body, reply, headers, L"PUT");
}

bool http_put_text(const std::wstring& url, const std::wstring& body,
                   std::wstring& reply, const std::wstring& headers) {
  return http_request_text(url, body, reply, headers, L"PUT");
}

}  // namespace vel
