// Entry points of single-arm software: each is the function of the same meaning on arm 1.
#include "arm/arm_context.h"
#include "cc_interface.h"

namespace {

constexpr int16_t kArm = 1;
constexpr double kNoWristScale = 1.0;
constexpr char kIniFile[] = "VELMAR.INI";

}  // namespace

uint16_t CC_CALL L2_INIT(void *window, CC_NOTIFY notifyCallback, const char *portDef, const char *headPortDef,
                         int16_t extendedStart, double linearScale, uint16_t flags) {
    return CC_INIT(window, kArm, notifyCallback, portDef, headPortDef, extendedStart, linearScale,
                   kNoWristScale, flags, kIniFile);
}
int16_t CC_CALL L2_END_INIT(void *statusOut) {
    return CC_START(kArm, statusOut, 0);
}
void CC_CALL L2_DONE(int16_t shutdownMode) {
    CC_DONE(kArm, shutdownMode);
}

void CC_CALL L2_BUFFRESET(void) {
    CC_BUFFRESET(kArm);
}
int16_t CC_CALL L2_CanSend(int16_t ahead) {
    return CC_CANSEND(kArm, ahead);
}
void CC_CALL L2_MOVE(int16_t mode, const double *position, uint32_t pointId, uint8_t classByte,
                     const double *mValue, const double *nValue, int16_t feed) {
    CC_MOVE(kArm, mode, position, pointId, classByte, mValue, nValue, feed);
}
void CC_CALL L2_SPEED(int16_t kind, int16_t value) {
    CC_SPEED(kArm, kind, value);
}
int16_t CC_CALL L2_MOVING(void) {
    return CC_MOVING(kArm);
}
void CC_CALL L2_FLYONOFF(int16_t on) {
    CC_FLYONOFF(kArm, on);
}
void CC_CALL L2_FLYLEN(double flyLength) {
    CC_FLYLEN(kArm, flyLength);
}

int16_t CC_CALL L2_NCONOFF(int16_t on) {
    return CC_NCONOFF(kArm, on);
}
int16_t CC_CALL L2_NCONWAITSTART(int16_t on) {
    return CC_NCONWAITSTART(kArm, on);
}
int16_t CC_CALL L2_OPBUF(int16_t n) {
    return CC_OPBUF(kArm, n);
}
int16_t CC_CALL L2_SETSTATUS(int16_t s) {
    return CC_SETSTATUS(kArm, s);
}
int16_t CC_CALL L2_EMERGENCY(int16_t code) {
    return CC_EMERGENCY(kArm, code);
}
int16_t CC_CALL L2_ZEROES(void) {
    return CC_ZEROES(kArm);
}

int16_t CC_CALL L2_FEED(int16_t feed) {
    return CC_FEED(kArm, feed);
}
int16_t CC_CALL L2_ENDIS_AXES(int16_t on, int16_t n, const void *bytes) {
    return CC_ENDIS_AXES(kArm, on, n, bytes);
}
int16_t CC_CALL L2_ENDIS_STARTHOLD_MSG(int16_t on) {
    return CC_ENDIS_STARTHOLD_MSG(kArm, on);
}
int16_t CC_CALL L2_ENDIS_TP200(int16_t on) {
    return CC_ENDIS_TP200(kArm, on);
}
int16_t CC_CALL L2_SETINFO(const void *record) {
    return CC_SETINFO(kArm, record);
}
int16_t CC_CALL L2_GETINFO(void *out) {
    return CC_GETINFO(kArm, out);
}
void CC_CALL L2_STORE_COSDAT(const uint32_t *table) {
    CC_STORE_COSDAT(kArm, table);
}
int16_t CC_CALL L2_FREEFRAME(const void *bytes, int16_t length, int16_t kind, int16_t value) {
    return CC_FREEFRAME(kArm, bytes, length, kind, value);
}

void CC_CALL L2_ASKCOORD(int16_t mode) {
    CC_ASKCOORD(kArm, mode);
}
int16_t CC_CALL L2_GETCOORD(void) {
    return CC_GETCOORD(kArm);
}
int16_t CC_CALL L2_GETSTATUS(void) {
    return CC_GETSTATUS(kArm);
}
int16_t CC_CALL L2_INFO(void *out) {
    return CC_INFO(kArm, out);
}
int16_t CC_CALL L2_IO(int16_t read, uint16_t *words) {
    return CC_IO(kArm, read, words);
}
int16_t CC_CALL L2_READ_PARAM(int16_t set, double *out) {
    return CC_READ_PARAM(kArm, set, out);
}
int16_t CC_CALL L2_SETDISTDEPTH(uint32_t, uint32_t) {
    return 1;
}

void CC_CALL PH9_GetPosition(double *a, double *b) {
    CC_PHGetPosition(kArm, a, b);
}
int16_t CC_CALL PH9_LevePresent(void) {
    return CC_PHLevePresent(kArm);
}
int16_t CC_CALL PH9_CurrentMode(void) {
    return CC_PHCurrentMode(kArm);
}
int16_t CC_CALL PH9_Update(void) {
    return CC_PHUpdate(kArm);
}
int16_t CC_CALL PH9_MANMODE(void) {
    return CC_PHMANMODE(kArm);
}
int16_t CC_CALL PH9_AUTOMODE(void) {
    return CC_PHAUTOMODE(kArm);
}
int16_t CC_CALL PH9_SetPosition(double angleA, double angleB, int16_t force, uint32_t ignored) {
    return CC_PHSetPosition(kArm, angleA, angleB, force, ignored);
}
int16_t CC_CALL PH9_Moving(void) {
    return CC_PHMoving(kArm);
}

int16_t CC_CALL CreateCounter(void) {
    return cc::CreateArmCounter(cc::SelectArm(kArm).link.counters);
}
int16_t CC_CALL DeleteCounter(int16_t slot) {
    return cc::DeleteArmCounter(cc::SelectArm(kArm).link.counters, slot);
}
int16_t CC_CALL GetCounter(int16_t slot) {
    return static_cast<int16_t>(cc::GetArmCounter(cc::SelectArm(kArm).link.counters, slot));
}
