// The folder in which the library looks for ports, of a test's own.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace cc::test {

/// Lives longer than the terminals that are linked in it. Other users may enter it.
struct PortFolder {
    const std::string path = mkdtemp((testing::TempDir() + "cc_ports_XXXXXX").data());

    PortFolder() {
        chmod(path.c_str(), 0755);
        setenv("CC_PORT_DIR", path.c_str(), 1);
    }
    ~PortFolder() { rmdir(path.c_str()); }
};

}  // namespace cc::test
