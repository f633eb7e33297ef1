// A small HTTP client. Each call is a session of its own: no connection is
// kept, no cache is read or written, the user's proxy settings hold. Calls
// block for as long as the system's time limits allow (minutes, when a server
// accepts and says nothing), so they belong on threads that can wait. Any
// thread. All but http_request and http_post are for the system's other
// programs.
//
// True means that there was a reply, whatever its HTTP status: an error page is
// a reply like any other, and so is one that was cut off. On failure the
// thread's last error tells why, and the reply stays as it was.
#ifndef VEL_FOUNDATION_HTTPTRANSFER_H_
#define VEL_FOUNDATION_HTTPTRANSFER_H_

#include <string>

namespace vel {

// Replaces each `character` by % and its value in upper-case hexadecimal, which
// isn't padded to two digits.
void url_encode_char(wchar_t character, std::wstring& text);
// Does so for + = and /. The % itself isn't touched.
void url_encode(std::wstring& text);

// GET. The narrow reply is the raw bytes of the body, zeros too; the wide one
// is widen() of them.
bool http_get(const std::wstring& url, std::string& reply);
bool http_get_text(const std::wstring& url, std::wstring& reply);

// Whether the URL can be opened. Nothing of the reply is read.
bool url_exists(const std::wstring& url);

// Any verb. The request goes to port 80 of the URL's host, whatever scheme and
// port it names. `body` is sent in the ANSI code page. `headers` are lines with
// LF or CRLF between them; none when empty.
bool http_request(const std::wstring& url, const std::wstring& body,
                  std::string& reply, const std::wstring& headers,
                  const std::wstring& verb);
bool http_request_text(const std::wstring& url, const std::wstring& body,
                       std::wstring& reply, const std::wstring& headers,
                       const std::wstring& verb);

bool http_post(const std::wstring& url, const std::wstring& body,
               std::string& reply, const std::wstring& headers);
bool http_post_text(const std::wstring& url, const std::wstring& body,
                    std::wstring& reply, const std::wstring& headers);
bool http_put(const std::wstring& url, const std::wstring& body,
              std::string& reply, const std::wstring& headers);
bool http_put_text(const std::wstring& url, const std::wstring& body,
                   std::wstring& reply, const std::wstring& headers);

}  // namespace vel

#endif  // VEL_FOUNDATION_HTTPTRANSFER_H_
