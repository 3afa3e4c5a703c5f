#include "dme/methods.h"

#include <algorithm>
#include <iterator>

#include "dme/server.h"

namespace cmm::dme {

const Method Server::kMethods[] = {
    // name, fast, allowed, needs, arguments, least, most, start, mayRunAhead
    {"StartSession",
     false,
     kWithoutSession | kInError,
     kNothing,
     Arguments::kNone,
     0,
     0,
     &Server::StartSession,
     {}},
    {"EndSession",
     false,
     kWithoutSession | kInError,
     kNothing,
     Arguments::kNone,
     0,
     0,
     &Server::EndSession,
     {}},
    {"StopDaemon", false, kInSession, kNothing, Arguments::kOneWord, 1, 1, &Server::StopDaemon, {}},
    {"StopAllDaemons", false, kInSession, kNothing, Arguments::kNone, 0, 0, &Server::StopAllDaemons, {}},
    {"AbortE", true, kInError, kNothing, Arguments::kNone, 0, 0, &Server::AbortE, {}},
    {"GetErrorInfo", false, kInSession, kNothing, Arguments::kNumbers, 1, 1, &Server::GetErrorInfo, {}},
    {"ClearAllErrors", false, kInError, kNothing, Arguments::kNone, 0, 0, &Server::ClearAllErrors, {}},
    {"GetErrStatusE", true, kInError, kNothing, Arguments::kNone, 0, 0, &Server::GetErrStatusE, {}},
    {"GetXtdErrStatus", false, kInError, kNothing, Arguments::kNone, 0, 0, &Server::GetXtdErrStatus, {}},
    {"GetDMEVersion", false, kInSession, kNothing, Arguments::kNone, 0, 0, &Server::GetDMEVersion, {}},
    {"GetMachineClass", false, kInSession, kNothing, Arguments::kNone, 0, 0, &Server::GetMachineClass, {}},

    {"GetProp", false, kInSession, kNothing, Arguments::kList, 1, -1, &Server::GetProp, {}},
    {"GetPropE", true, kInSession, kNothing, Arguments::kList, 1, -1, &Server::GetProp, {}},
    {"SetProp", false, kInSession, kNothing, Arguments::kList, 1, -1, &Server::SetProp, {}},
    {"EnumProp", false, kInSession, kNothing, Arguments::kList, 1, 1, &Server::EnumProp, {}},
    {"EnumAllProp", false, kInSession, kNothing, Arguments::kList, 1, 1, &Server::EnumAllProp, {}},
    {"EnumTools", false, kInSession, kNothing, Arguments::kNone, 0, 0, &Server::EnumTools, {}},
    {"FindTool", false, kInSession, kNothing, Arguments::kOneText, 1, 1, &Server::FindTool, {}},
    {"ChangeTool", false, kInSession, kNothing, Arguments::kOneText, 1, 1, &Server::ChangeTool, {}},
    {"SetTool", false, kInSession, kNothing, Arguments::kOneText, 1, 1, &Server::SetTool, {}},
    {"GetChangeToolAction",
     false,
     kInSession,
     kNothing,
     Arguments::kOneText,
     1,
     1,
     &Server::GetChangeToolAction,
     {}},
    {"AlignTool", false, kInSession, kNothing, Arguments::kNumbers, 4, 8, &Server::AlignTool, {}},
    {"ReQualify", false, kInSession, kHomed, Arguments::kNone, 0, 0, nullptr, {}},

    {"SetCoordSystem", false, kInSession, kNothing, Arguments::kOneWord, 1, 1, &Server::SetCoordSystem, {}},
    {"GetCoordSystem", false, kInSession, kNothing, Arguments::kNone, 0, 0, &Server::GetCoordSystem, {}},
    {"SetCsyTransformation",
     false,
     kInSession,
     kNothing,
     Arguments::kAny,
     7,
     7,
     &Server::SetCsyTransformation,
     {}},
    {"GetCsyTransformation",
     false,
     kInSession,
     kNothing,
     Arguments::kOneWord,
     1,
     1,
     &Server::GetCsyTransformation,
     {}},

    {"Home", false, kInSession, kNothing, Arguments::kNone, 0, 0, &Server::Home, {}},
    {"IsHomed", false, kInSession, kNothing, Arguments::kNone, 0, 0, &Server::IsHomed, {}},
    {"EnableUser", false, kInSession, kNothing, Arguments::kNone, 0, 0, &Server::EnableUser, {}},
    {"DisableUser", false, kInSession, kNothing, Arguments::kNone, 0, 0, &Server::DisableUser, {}},
    {"IsUserEnabled", false, kInSession, kNothing, Arguments::kNone, 0, 0, &Server::IsUserEnabled, {}},
    {"Get", false, kInSession, kNothing, Arguments::kList, 1, -1, &Server::Get, {}},
    {"GoTo", false, kInSession, kHomed, Arguments::kList, 1, -1, &Server::GoTo, &Server::MayGoAhead},
    {"PtMeas", false, kInSession, kHomed | kMeasuringTool, Arguments::kList, 1, -1, &Server::PtMeas,
     &Server::MayGoAhead},
    {"OnPtMeasReport", false, kInSession, kNothing, Arguments::kList, 1, -1, &Server::OnPtMeasReport, {}},
    {"OnScanReport", false, kInSession, kNothing, Arguments::kList, 1, -1, &Server::OnScanReport, {}},
    {"OnMoveReportE", true, kInSession, kNothing, Arguments::kList, 1, -1, &Server::OnMoveReportE, {}},

    {"ScanOnCircleHint", false, kInSession, kNothing, Arguments::kNumbers, 2, 2, &Server::Hint, {}},
    {"ScanOnLineHint", false, kInSession, kNothing, Arguments::kNumbers, 2, 2, &Server::Hint, {}},
    {"ScanOnCurveHint", false, kInSession, kNothing, Arguments::kNumbers, 2, 2, &Server::Hint, {}},
    {"ScanUnknownHint", false, kInSession, kNothing, Arguments::kNumbers, 1, 1, &Server::Hint, {}},
    {"ScanOnCurveDensity", false, kInSession, kNothing, Arguments::kAny, 0, -1, nullptr, {}},
    {"ScanUnknownDensity", false, kInSession, kNothing, Arguments::kAny, 0, -1, nullptr, {}},
    {"ScanOnCircle", false, kInSession, kNothing, Arguments::kNumbers, 12, 12, nullptr, {}},
    {"ScanOnLine", false, kInSession, kNothing, Arguments::kNumbers, 10, 10, nullptr, {}},
    {"ScanOnCurve", false, kInSession, kNothing, Arguments::kAny, 0, -1, nullptr, {}},
    {"ScanInPlaneEndIsSphere", false, kInSession, kNothing, Arguments::kNumbers, 21, 21, nullptr, {}},
    {"ScanInPlaneEndIsPlane", false, kInSession, kNothing, Arguments::kNumbers, 23, 23, nullptr, {}},
    {"ScanInPlaneEndIsCyl", false, kInSession, kNothing, Arguments::kNumbers, 24, 24, nullptr, {}},
    {"ScanInCylEndIsSphere", false, kInSession, kNothing, Arguments::kNumbers, 24, 24, nullptr, {}},
    {"ScanInCylEndIsPlane", false, kInSession, kNothing, Arguments::kNumbers, 26, 26, nullptr, {}},

    {"AlignPart", false, kInSession, kNothing, Arguments::kNumbers, 7, 14, nullptr, {}},
    {"CenterPart", false, kInSession, kNothing, Arguments::kNumbers, 4, 4, nullptr, {}},
    {"TiltPart", false, kInSession, kNothing, Arguments::kNumbers, 4, 4, nullptr, {}},
    {"TiltCenterPart", false, kInSession, kNothing, Arguments::kNumbers, 7, 7, nullptr, {}},
    {"LockAxis", false, kInSession, kNothing, Arguments::kList, 1, -1, nullptr, {}},
    {"LockPosition", false, kInSession, kNothing, Arguments::kList, 1, -1, nullptr, {}},
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
