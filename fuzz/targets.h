// What is fuzzed: every place where bytes from outside are taken apart. Each target takes any bytes and must
// neither crash, nor hang, nor leave a bound; sanitizers watch. What it finds depends on its input alone.
#pragma once

#include <cstddef>
#include <cstdint>

namespace cc::fuzz {

void ReceivedFrames(const uint8_t *data, size_t size);
void Replies(const uint8_t *data, size_t size);
void PortDefinition(const uint8_t *data, size_t size);
void Profile(const uint8_t *data, size_t size);
void HeadAnswer(const uint8_t *data, size_t size);
void Stream(const uint8_t *data, size_t size);
void Exports(const uint8_t *data, size_t size);
void Dialogue(const uint8_t *data, size_t size);

/// Targets by the name of their corpus folder.
struct Target {
    const char *name;
    void (*run)(const uint8_t *data, size_t size);
};
inline constexpr Target kTargets[] = {
    {"frames", ReceivedFrames}, {"replies", Replies}, {"ports", PortDefinition}, {"profiles", Profile},
    {"head", HeadAnswer},       {"stream", Stream},   {"exports", Exports},
#if defined(CMM_DIALOGUE)
    {"dialogue", Dialogue},
#endif
};

}  // namespace cc::fuzz
