// The files of the page for people. They hold no data: what the page shows it asks for, as any other client.
#ifndef VELQ_KIT_SERVE_PAGE_H
#define VELQ_KIT_SERVE_PAGE_H

#include "kit/serve/http_message.h"

#include <string_view>
#include <vector>

namespace velq::kit {

struct PageFile {
    std::string_view path; // of the request
    std::string_view text;
};

// Written by the build from the folder page.
const std::vector<PageFile> &pageFiles();

// Null where the page has no such file.
const PageFile *findPageFile(std::string_view path);

// With the headers that keep a browser from taking anything in it from elsewhere, or for markup or script.
HttpResponse pageResponse(const PageFile &file);

} // namespace velq::kit

#endif
