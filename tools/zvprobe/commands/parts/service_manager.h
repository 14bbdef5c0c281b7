// SPDX-License-Identifier: MIT
// The service manager that has started this process, systemd, as sd_notify(3) has it: it is told that
// the service is ready, that it reads its configuration again, that it ends, and that it is alive.
// Without one all of that does nothing.
#pragma once

#include <chrono>
#include <string>

namespace zvprobe {

class ServiceManager {
  public:
    // Takes the socket and the watchdog's time from NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID.
    ServiceManager();

    // The service has begun, or goes on after it was reloading. status: a line for people
    void ready(const std::string& status);

    // It is not ready until it says so.
    void reloading();

    void stopping();

    // May be called as often as one likes. Whoever calls has seen that the service does its work.
    void is_alive();

  private:
    using Clock = std::chrono::steady_clock;

    void tell(const std::string& state);

    std::string socket_;             // a path, or a name that begins with '@'; empty: none
    Clock::duration interval_ = {};  // of the signs of life; 0: none are wanted
    Clock::time_point next_sign_ = {};
    bool failure_is_told_ = false;
};

}  // namespace zvprobe
