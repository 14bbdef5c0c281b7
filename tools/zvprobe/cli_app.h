// SPDX-License-Identifier: MIT
// The name of the command line's type, for those who only pass it on: its header is a large one.
#pragma once

namespace CLI {
class App;
}
