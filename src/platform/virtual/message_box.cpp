#include "platform/message_box.h"

#include "platform/virtual/world.h"

namespace cc::platform {
namespace {

MessageBoxHandler handler = nullptr;
void *handlerUser = nullptr;

}  // namespace

void ShowMessageBox(const char *text) {
    World::Instance().messageBoxes.emplace_back(text);
    if (handler != nullptr) handler(text, handlerUser);
}

void SetMessageBoxHandler(MessageBoxHandler show, void *user) {
    handler = show;
    handlerUser = user;
}

}  // namespace cc::platform
