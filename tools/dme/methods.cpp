#include "dme/methods.h"

#include <algorithm>
#include <iterator>

#include "dme/server.h"

namespace cmm::dme {

constexpr unsigned kProbes = kHomed | kMeasuringTool;

const Method Server::kMethods[] = {
    // name, start, arguments, least, most, traits, mayRunAhead
    {"StartSession", &Server::StartSession, Arguments::kNone, 0, 0, kWithoutSession | kInError},
    {"EndSession", &Server::EndSession, Arguments::kNone, 0, 0, kWithoutSession | kInError},
    {"StopDaemon", &Server::StopDaemon, Arguments::kOneWord, 1, 1},
    {"StopAllDaemons", &Server::StopAllDaemons, Arguments::kNone, 0, 0},
    {"AbortE", &Server::AbortE, Arguments::kNone, 0, 0, kFast | kInError},
    {"GetErrorInfo", &Server::GetErrorInfo, Arguments::kNumbers, 1, 1},
    {"ClearAllErrors", &Server::ClearAllErrors, Arguments::kNone, 0, 0, kInError},
    {"GetErrStatusE", &Server::GetErrStatusE, Arguments::kNone, 0, 0, kFast | kInError},
    {"GetXtdErrStatus", &Server::GetXtdErrStatus, Arguments::kNone, 0, 0, kInError},
    {"GetDMEVersion", &Server::GetDMEVersion, Arguments::kNone, 0, 0},
    {"GetMachineClass", &Server::GetMachineClass, Arguments::kNone, 0, 0},

    {"GetProp", &Server::GetProp, Arguments::kList, 1, -1},
    {"GetPropE", &Server::GetProp, Arguments::kList, 1, -1, kFast},
    {"SetProp", &Server::SetProp, Arguments::kList, 1, -1},
    {"EnumProp", &Server::EnumProp, Arguments::kList, 1, 1},
    {"EnumAllProp", &Server::EnumAllProp, Arguments::kList, 1, 1},
    {"EnumTools", &Server::EnumTools, Arguments::kNone, 0, 0},
    {"FindTool", &Server::FindTool, Arguments::kOneText, 1, 1},
    {"ChangeTool", &Server::ChangeTool, Arguments::kOneText, 1, 1},
    {"SetTool", &Server::SetTool, Arguments::kOneText, 1, 1},
    {"GetChangeToolAction", &Server::GetChangeToolAction, Arguments::kOneText, 1, 1},
    {"AlignTool", &Server::AlignTool, Arguments::kNumbers, 4, 8},
    {"ReQualify", &Server::ReQualify, Arguments::kNone, 0, 0, kProbes},

    {"SetCoordSystem", &Server::SetCoordSystem, Arguments::kOneWord, 1, 1},
    {"GetCoordSystem", &Server::GetCoordSystem, Arguments::kNone, 0, 0},
    {"SetCsyTransformation", &Server::SetCsyTransformation, Arguments::kAny, 7, 7},
    {"GetCsyTransformation", &Server::GetCsyTransformation, Arguments::kOneWord, 1, 1},

    {"Home", &Server::Home, Arguments::kNone, 0, 0},
    {"IsHomed", &Server::IsHomed, Arguments::kNone, 0, 0},
    {"EnableUser", &Server::EnableUser, Arguments::kNone, 0, 0},
    {"DisableUser", &Server::DisableUser, Arguments::kNone, 0, 0},
    {"IsUserEnabled", &Server::IsUserEnabled, Arguments::kNone, 0, 0},
    {"Get", &Server::Get, Arguments::kList, 1, -1},
    {"GoTo", &Server::GoTo, Arguments::kList, 1, -1, kHomed, &Server::MayGoAhead},
    {"PtMeas", &Server::PtMeas, Arguments::kList, 1, -1, kProbes, &Server::MayGoAhead},
    {"OnPtMeasReport", &Server::OnPtMeasReport, Arguments::kList, 1, -1},
    {"OnScanReport", &Server::OnScanReport, Arguments::kList, 1, -1},
    {"OnMoveReportE", &Server::OnMoveReportE, Arguments::kList, 1, -1, kFast},

    {"ScanOnCircleHint", &Server::Hint, Arguments::kNumbers, 2, 2},
    {"ScanOnLineHint", &Server::Hint, Arguments::kNumbers, 2, 2},
    {"ScanOnCurveHint", &Server::Hint, Arguments::kNumbers, 2, 2},
    {"ScanUnknownHint", &Server::Hint, Arguments::kNumbers, 1, 1},
    {"ScanOnCurveDensity", nullptr, Arguments::kAny, 0, -1},
    {"ScanUnknownDensity", &Server::ScanUnknownDensity, Arguments::kList, 1, 2},
    {"ScanOnCircle", &Server::ScanOnCircle, Arguments::kNumbers, 12, 12, kProbes},
    {"ScanOnLine", &Server::ScanOnLine, Arguments::kNumbers, 10, 10, kProbes},
    {"ScanOnCurve", nullptr, Arguments::kAny, 0, -1},
    {"ScanInPlaneEndIsSphere", &Server::ScanInPlaneEndIsSphere, Arguments::kNumbers, 17, 21,
     kProbes | kScanning},
    {"ScanInPlaneEndIsPlane", &Server::ScanInPlaneEndIsPlane, Arguments::kNumbers, 20, 23,
     kProbes | kScanning},
    {"ScanInPlaneEndIsCyl", &Server::ScanInPlaneEndIsCyl, Arguments::kNumbers, 21, 24, kProbes | kScanning},
    {"ScanInCylEndIsSphere", nullptr, Arguments::kNumbers, 24, 24},
    {"ScanInCylEndIsPlane", nullptr, Arguments::kNumbers, 26, 26},

    {"AlignPart", nullptr, Arguments::kNumbers, 7, 14},
    {"CenterPart", nullptr, Arguments::kNumbers, 4, 4},
    {"TiltPart", nullptr, Arguments::kNumbers, 4, 4},
    {"TiltCenterPart", nullptr, Arguments::kNumbers, 7, 7},
    {"LockAxis", nullptr, Arguments::kList, 1, -1},
    {"LockPosition", nullptr, Arguments::kList, 1, -1},
};

const Method *FindMethod(std::string_view name) {
    const auto *method = std::find_if(std::begin(Server::kMethods), std::end(Server::kMethods),
                                      [name](const Method &each) { return each.name == name; });
    return method == std::end(Server::kMethods) ? nullptr : method;
}

std::optional<Fault> CheckArguments(const Method &method, const Argument &call) {
    const int count = static_cast<int>(call.arguments.size());
    if (count < method.least || (method.most >= 0 && count > method.most))
        return Fault{ErrorNumber::kIncorrectArguments, call.text + ": number of arguments"};
    const auto areAll = [&call](Argument::Kind kind) {
        return std::all_of(call.arguments.begin(), call.arguments.end(),
                           [kind](const Argument &argument) { return argument.kind == kind; });
    };
    const bool right = method.arguments == Arguments::kNone || method.arguments == Arguments::kAny ||
                       (method.arguments == Arguments::kNumbers && areAll(Argument::Kind::kNumber)) ||
                       (method.arguments == Arguments::kOneText && areAll(Argument::Kind::kText)) ||
                       (method.arguments == Arguments::kOneWord && areAll(Argument::Kind::kWord)) ||
                       (method.arguments == Arguments::kList && areAll(Argument::Kind::kCall));
    if (!right) return Fault{ErrorNumber::kBadArgument, call.text};
    return std::nullopt;
}

}  // namespace cmm::dme
