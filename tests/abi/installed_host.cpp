// SPDX-License-Identifier: MIT
// The same host, as C++20 sees it.
#include "installed_host.c"
