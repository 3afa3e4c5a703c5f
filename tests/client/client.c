/* The smallest measuring program: opens arm 1 in simulation, asks for its coordinates, closes it. */
#include <cc_interface.h>
#include <stdio.h>

static int reports = 0;

static void CC_CALL on_event(int32_t event, uint32_t info, void *data) {
    reports += event == CC_EVENT_COORDINATES && info == 0 && ((PointRecord *)data)->tag == 0;
}

int main(void) {
    ControllerInfo info;
    uint16_t result = CC_INIT(NULL, 1, on_event, NULL, NULL, 1, 0.001, 1.0, CC_SIMULATION, NULL);
    if (result != CC_OK || !CC_START(1, &info, 0) || !CC_GETCOORD(1)) return 1;
    CC_DONE(1, 2);
    printf("controller type %u, %d coordinate report\n", info.controllerType, reports);
    return sizeof(PointRecord) == 80 && sizeof(ControllerInfo) == 48 && reports == 1 ? 0 : 1;
}
