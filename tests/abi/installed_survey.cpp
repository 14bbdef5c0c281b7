// SPDX-License-Identifier: MIT
// The same host, as C++20 sees it; built without exceptions and RTTI.
#include "installed_survey.c"
