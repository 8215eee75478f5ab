// How the page's files are answered.
#include "kit/serve/page.h"

#include <algorithm>
#include <string>

namespace velq::kit {

// Nothing from elsewhere, no script or style within the markup, no frame around it, no form that is sent by the browser
// itself, and no text that a script turns into markup.
static constexpr const char *contentSecurityPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; base-uri 'none'; "
    "form-action 'none'; frame-ancestors 'none'; require-trusted-types-for 'script'; trusted-types 'none'";

const PageFile *findPageFile(std::string_view path)
{
    const auto found = std::ranges::find(pageFiles(), path, &PageFile::path);
    return found == pageFiles().end() ? nullptr : &*found;
}

static std::string typeOf(std::string_view path)
{
    if (path.ends_with(".js")) {
        return "text/javascript; charset=utf-8";
    }
    if (path.ends_with(".css")) {
        return "text/css; charset=utf-8";
    }
    return path.ends_with(".svg") ? "image/svg+xml" : "text/html; charset=utf-8";
}

HttpResponse pageResponse(const PageFile &file)
{
    HttpResponse response{200, typeOf(file.path), std::string(file.text)};
    response.headers = {{"Content-Security-Policy", contentSecurityPolicy},
                        {"Cross-Origin-Opener-Policy", "same-origin"},
                        {"Cross-Origin-Resource-Policy", "same-origin"},
                        {"Permissions-Policy", "camera=(), geolocation=(), microphone=()"},
                        {"Referrer-Policy", "no-referrer"},
                        {"X-Frame-Options", "DENY"}};
    return response;
}

} // namespace velq::kit
