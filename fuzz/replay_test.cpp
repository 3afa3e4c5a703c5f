// Runs the corpus through the targets, without a fuzzer.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "targets.h"

namespace {

TEST(Corpus, IsTakenByEachTarget) {
    for (const cc::fuzz::Target &target : cc::fuzz::kTargets) {
        int seeds = 0;
        for (const auto &entry :
             std::filesystem::directory_iterator(std::string(CORPUS_DIR) + "/" + target.name)) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
            target.run(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
            ++seeds;
        }
        EXPECT_GT(seeds, 0) << target.name;
    }
}

}  // namespace
