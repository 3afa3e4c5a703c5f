// Texts that the client, its initialisation file and the probe head give.
#include <string>

#include "input.h"
#include "platform/port_definition.h"
#include "platform/portable/profile_scanner.h"
#include "probehead/head_answer.h"
#include "targets.h"

namespace cc::fuzz {

void PortDefinition(const uint8_t *data, size_t size) {
    platform::IsPortDefinition(std::string(reinterpret_cast<const char *>(data), size).c_str());
}

void Profile(const uint8_t *data, size_t size) {
    platform::ProfileScanner scanner("Timers", "Lo Period");
    scanner.Feed(reinterpret_cast<const char *>(data), size);
    if (!scanner.Finish()) return;
    platform::LeadingInteger(scanner.Value());
    char text[40];
    platform::CopyText(scanner.Value(), text, sizeof text);
}

void HeadAnswer(const uint8_t *data, size_t size) {
    cc::HeadRecord head;
    ClassifyHeadAnswer(head, {reinterpret_cast<const char *>(data), std::min<size_t>(size, kHeadReplyBytes)});
    Check(head.headEvent >= kHeadNothing && head.headEvent <= kHeadPosition);
}

}  // namespace cc::fuzz
