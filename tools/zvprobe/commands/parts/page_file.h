// SPDX-License-Identifier: MIT
// Where the HTML report goes. A place that cannot be written is found before sources are read, which
// may take long.
#pragma once

#include <string>
#include <string_view>

#include "io/output/out_file.h"

namespace zvprobe {

class PageFile {
  public:
    // An existing file is replaced when it is a page, or empty, and nothing else: "--html SOURCE" is
    // soon typed. Throws OutputError.
    explicit PageFile(const std::string& path);

    // Throws OutputError.
    void write(std::string_view page);

  private:
    OutFile file_;
};

}  // namespace zvprobe
