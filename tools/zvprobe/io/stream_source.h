// SPDX-License-Identifier: MIT
// Network URLs, read through the protocol library.
#pragma once

#include "io/read_source.h"
#include "io/url_handle.h"

namespace zvprobe {

class StreamSource : public ReadSource {
  public:
    explicit StreamSource(const std::string& url);  // throws SourceError
    Origin origin() const override { return Origin::kNetwork; }
    std::optional<uint64_t> size() const override { return std::nullopt; }

  protected:
    int read_once(std::span<uint8_t> room) override;
    std::string text_of(int error) const override { return url_.text_of(error); }

  private:
    UrlHandle url_;
};

}  // namespace zvprobe
