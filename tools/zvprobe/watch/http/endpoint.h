// SPDX-License-Identifier: MIT
// Answers over HTTP for a watch. Bounded whatever comes: connections, the size of a request, the time
// for it and for the answer.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "watch/watch.h"

namespace zvprobe {

struct EndpointSettings {
    std::string listen;                    // "address:port" or "port"; port 0: any that is free
    std::vector<std::string> allow_hosts;  // names it answers to, besides its address
};

class Endpoint {
  public:
    // Listens from now on; watch: outlives it.
    // Throws UsageError when the address is none, SourceError when it cannot listen there.
    Endpoint(const Watch& watch, const EndpointSettings& settings);
    ~Endpoint();
    Endpoint(const Endpoint&) = delete;
    Endpoint& operator=(const Endpoint&) = delete;

    // -> "127.0.0.1:9188"
    std::string address() const;

  private:
    class Server;

    std::unique_ptr<Server> server_;
};

}  // namespace zvprobe
