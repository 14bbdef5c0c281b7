// SPDX-License-Identifier: MIT
// Network URLs, read through the protocol library.
#pragma once

#include "io/read_source.h"
#include "zvprotocol.h"

namespace zvprobe {

class StreamSource : public ReadSource {
  public:
    explicit StreamSource(const std::string& url);  // throws SourceError
    ~StreamSource() override;

    Origin origin() const override { return Origin::kNetwork; }
    std::optional<uint64_t> size() const override { return std::nullopt; }

  protected:
    int read_once(std::span<uint8_t> room) override;
    std::string text_of(int error) const override;

  private:
    ZvptcUrlContext context_{};
    const ZvptcHandler* handler_ = nullptr;
};

}  // namespace zvprobe
