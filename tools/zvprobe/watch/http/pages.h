// SPDX-License-Identifier: MIT
// What a watch answers to whom asks over HTTP: paths and their contents. Nothing of it is on a disk.
#pragma once

#include <string>

#include "watch/watch.h"

namespace zvprobe {

struct Page {
    int status = 200;
    std::string type;
    std::string body;
    // The Content-Security-Policy.
    std::string policy = "default-src 'none'; frame-ancestors 'none'";
};

// -> the page of a path, decoded and without a query; 404 for one that is not there
Page page_at(const Watch& watch, const std::string& path);

}  // namespace zvprobe
