// SPDX-License-Identifier: MIT
// Finds libcurl and the functions of it that the http handlers use.
#include "zvprotocol/http/curl_api.h"

#include <dlfcn.h>

#include <cstdio>
#include <initializer_list>

namespace zvptc {
namespace {

void* open_library() noexcept {
    for (const char* name : {"libcurl.so.4", "libcurl-gnutls.so.4"}) {
        if (void* library = dlopen(name, RTLD_NOW | RTLD_LOCAL)) return library;
    }
    fprintf(stderr, "zvprotocol: no http or https: %s\n", dlerror());
    return nullptr;
}

// Finds functions by name; when one is missing, all are unusable.
class Finder {
  public:
    explicit Finder(void* library) noexcept : library_(library) {}

    template <typename Function>
    void find(Function& function, const char* name) noexcept {
        function = reinterpret_cast<Function>(dlsym(library_, name));
        complete_ = complete_ && function != nullptr;
    }
    bool complete() const noexcept { return complete_; }

  private:
    void* library_;
    bool complete_ = true;
};

struct Loaded {
    CurlApi api = {};
    bool usable = false;

    Loaded() noexcept {
        void* const library = open_library();
        if (library == nullptr) return;
        Finder finder(library);
        finder.find(api.global_init, "curl_global_init");
        finder.find(api.global_cleanup, "curl_global_cleanup");
        finder.find(api.easy_init, "curl_easy_init");
        finder.find(api.easy_cleanup, "curl_easy_cleanup");
        finder.find(api.easy_setopt, "curl_easy_setopt");
        finder.find(api.easy_getinfo, "curl_easy_getinfo");
        finder.find(api.easy_pause, "curl_easy_pause");
        finder.find(api.easy_strerror, "curl_easy_strerror");
        finder.find(api.multi_init, "curl_multi_init");
        finder.find(api.multi_cleanup, "curl_multi_cleanup");
        finder.find(api.multi_add_handle, "curl_multi_add_handle");
        finder.find(api.multi_remove_handle, "curl_multi_remove_handle");
        finder.find(api.multi_perform, "curl_multi_perform");
        finder.find(api.multi_poll, "curl_multi_poll");
        finder.find(api.multi_info_read, "curl_multi_info_read");
        usable = finder.complete();
    }
};

const Loaded& loaded() noexcept {
    static const Loaded once;
    return once;
}

}  // namespace

const CurlApi* load_curl() noexcept {
    return loaded().usable ? &loaded().api : nullptr;
}

const CurlApi& curl() noexcept {
    return loaded().api;
}

}  // namespace zvptc
