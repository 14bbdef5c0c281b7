// SPDX-License-Identifier: MIT
// libcurl, loaded when the first http source is opened: linked in, its thirty libraries would cost
// every program ten milliseconds at its start (measured), whether it uses http or not.
#pragma once

#include <curl/curl.h>

namespace zvptc {

struct CurlApi {
    decltype(&curl_global_init) global_init;
    decltype(&curl_global_cleanup) global_cleanup;
    decltype(&curl_easy_init) easy_init;
    decltype(&curl_easy_cleanup) easy_cleanup;
    decltype(&curl_easy_setopt) easy_setopt;
    decltype(&curl_easy_getinfo) easy_getinfo;
    decltype(&curl_easy_pause) easy_pause;
    decltype(&curl_easy_strerror) easy_strerror;
    decltype(&curl_multi_init) multi_init;
    decltype(&curl_multi_cleanup) multi_cleanup;
    decltype(&curl_multi_add_handle) multi_add_handle;
    decltype(&curl_multi_remove_handle) multi_remove_handle;
    decltype(&curl_multi_perform) multi_perform;
    decltype(&curl_multi_poll) multi_poll;
    decltype(&curl_multi_info_read) multi_info_read;
};

// -> the library's functions, for the life of the process; null, reported on stderr, when it is not
// installed. Any thread.
const CurlApi* load_curl() noexcept;

// -> what load_curl returned, which was not null
const CurlApi& curl() noexcept;

}  // namespace zvptc
