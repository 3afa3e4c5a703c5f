#include "dme/setup.h"

namespace cmm::dme {

namespace {

Tool MakeTool(const std::string &name, const std::string &id) {
    Tool tool;
    tool.name = name;
    tool.id = id;
    tool.orientations.resize(1);
    return tool;
}

}  // namespace

Setup BuiltInSetup() {
    Tool none = MakeTool("NoTool", "1");
    none.measures = false;
    Tool probe = MakeTool("Probe1", "2");
    probe.onHead = true;
    probe.orientations[0].offset = {0, 0, -100};
    probe.orientations[0].radius = 1;
    probe.collisionVolume = {Box{{0, 0, 50}, {2, 2, 51}}, Box{{0, 0, 350}, {50, 50, 250}}};
    Setup setup;
    setup.sphereCentre = {100, 80, 50};
    setup.sphereRadius = 14;
    setup.tools = {MakeTool("RefTool", "0"), none, probe};
    setup.firstTool = "Probe1";
    return setup;
}

}  // namespace cmm::dme
