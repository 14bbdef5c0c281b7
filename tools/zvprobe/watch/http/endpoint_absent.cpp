// SPDX-License-Identifier: MIT
// The endpoint where the libraries for it are not installed: it says so.
#include "io/source.h"
#include "watch/http/endpoint.h"

namespace zvprobe {

class Endpoint::Server {};

Endpoint::Endpoint(const Watch&, const EndpointSettings&) {
    throw SourceError("built without the libraries for HTTP");
}

Endpoint::~Endpoint() = default;

std::string Endpoint::address() const {
    return {};
}

}  // namespace zvprobe
