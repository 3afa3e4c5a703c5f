#include "dme/methods.h"

#include <algorithm>
#include <iterator>

#include "dme/server.h"

namespace cmm::dme {

constexpr unsigned kProbes = kHomed | kMeasuringTool;

const Method Server::kMethods[] = {
    // name, start, arguments, least, most, traits, mayRunAhead
    {"StartSession", &Server::StartSession, Arguments::None, 0, 0, kWithoutSession | kInError | kClears},
    {"EndSession", &Server::EndSession, Arguments::None, 0, 0, kWithoutSession | kInError | kClears},
    {"StopDaemon", &Server::StopDaemon, Arguments::OneWord, 1, 1},
    {"StopAllDaemons", &Server::StopAllDaemons, Arguments::None, 0, 0},
    {"AbortE", &Server::AbortE, Arguments::None, 0, 0, kFast | kInError},
    {"GetErrorInfo", &Server::GetErrorInfo, Arguments::Numbers, 1, 1},
    {"ClearAllErrors", &Server::ClearAllErrors, Arguments::None, 0, 0, kInError | kClears},
    {"GetErrStatusE", &Server::GetErrStatusE, Arguments::None, 0, 0, kFast | kInError},
    {"GetXtdErrStatus", &Server::GetXtdErrStatus, Arguments::None, 0, 0, kInError},
    {"GetDMEVersion", &Server::GetDMEVersion, Arguments::None, 0, 0},
    {"GetMachineClass", &Server::GetMachineClass, Arguments::None, 0, 0},

    {"GetProp", &Server::GetProp, Arguments::List, 1, -1},
    {"GetPropE", &Server::GetProp, Arguments::List, 1, -1, kFast},
    {"SetProp", &Server::SetProp, Arguments::List, 1, -1},
    {"EnumProp", &Server::EnumProp, Arguments::List, 1, 1},
    {"EnumAllProp", &Server::EnumAllProp, Arguments::List, 1, 1},
    {"EnumTools", &Server::EnumTools, Arguments::None, 0, 0},
    {"FindTool", &Server::FindTool, Arguments::OneText, 1, 1},
    {"ChangeTool", &Server::ChangeTool, Arguments::OneText, 1, 1},
    {"SetTool", &Server::SetTool, Arguments::OneText, 1, 1},
    {"GetChangeToolAction", &Server::GetChangeToolAction, Arguments::OneText, 1, 1},
    {"AlignTool", &Server::AlignTool, Arguments::Numbers, 4, 8},
    {"ReQualify", &Server::ReQualify, Arguments::None, 0, 0, kProbes},

    {"SetCoordSystem", &Server::SetCoordSystem, Arguments::OneWord, 1, 1},
    {"GetCoordSystem", &Server::GetCoordSystem, Arguments::None, 0, 0},
    {"SetCsyTransformation", &Server::SetCsyTransformation, Arguments::Any, 7, 7},
    {"GetCsyTransformation", &Server::GetCsyTransformation, Arguments::OneWord, 1, 1},

    {"Home", &Server::Home, Arguments::None, 0, 0},
    {"IsHomed", &Server::IsHomed, Arguments::None, 0, 0},
    {"EnableUser", &Server::EnableUser, Arguments::None, 0, 0},
    {"DisableUser", &Server::DisableUser, Arguments::None, 0, 0},
    {"IsUserEnabled", &Server::IsUserEnabled, Arguments::None, 0, 0},
    {"Get", &Server::Get, Arguments::List, 1, -1},
    {"GoTo", &Server::GoTo, Arguments::List, 1, -1, kHomed, &Server::MayGoAhead},
    {"PtMeas", &Server::PtMeas, Arguments::List, 1, -1, kProbes, &Server::MayGoAhead},
    {"OnPtMeasReport", &Server::OnPtMeasReport, Arguments::List, 1, -1},
    {"OnScanReport", &Server::OnScanReport, Arguments::List, 1, -1},
    {"OnMoveReportE", &Server::OnMoveReportE, Arguments::List, 1, -1, kFast},

    {"ScanOnCircleHint", &Server::Hint, Arguments::Numbers, 2, 2},
    {"ScanOnLineHint", &Server::Hint, Arguments::Numbers, 2, 2},
    {"ScanOnCurveHint", &Server::Hint, Arguments::Numbers, 2, 2},
    {"ScanUnknownHint", &Server::Hint, Arguments::Numbers, 1, 1},
    {"ScanOnCurveDensity", nullptr, Arguments::Any, 0, -1},
    {"ScanUnknownDensity", &Server::ScanUnknownDensity, Arguments::List, 1, 2},
    {"ScanOnCircle", &Server::ScanOnCircle, Arguments::Numbers, 12, 12, kProbes},
    {"ScanOnLine", &Server::ScanOnLine, Arguments::Numbers, 10, 10, kProbes},
    {"ScanOnCurve", nullptr, Arguments::Any, 0, -1},
    {"ScanInPlaneEndIsSphere", &Server::ScanInPlaneEndIsSphere, Arguments::Numbers, 17, 21,
     kProbes | kScanning},
    {"ScanInPlaneEndIsPlane", &Server::ScanInPlaneEndIsPlane, Arguments::Numbers, 20, 23,
     kProbes | kScanning},
    {"ScanInPlaneEndIsCyl", &Server::ScanInPlaneEndIsCyl, Arguments::Numbers, 21, 24, kProbes | kScanning},
    {"ScanInCylEndIsSphere", nullptr, Arguments::Numbers, 24, 24},
    {"ScanInCylEndIsPlane", nullptr, Arguments::Numbers, 26, 26},

    {"AlignPart", &Server::AlignPart, Arguments::Numbers, 7, 14, kHomed | kTable},
    {"CenterPart", nullptr, Arguments::Numbers, 4, 4},
    {"TiltPart", nullptr, Arguments::Numbers, 4, 4},
    {"TiltCenterPart", nullptr, Arguments::Numbers, 7, 7},
    {"LockAxis", nullptr, Arguments::List, 1, -1},
    {"LockPosition", nullptr, Arguments::List, 1, -1},
};

const Method *FindMethod(std::string_view name) {
    const auto *method = std::find_if(std::begin(Server::kMethods), std::end(Server::kMethods),
                                      [name](const Method &each) { return each.name == name; });
    return method == std::end(Server::kMethods) ? nullptr : method;
}

std::optional<Fault> CheckArguments(const Method &method, const Argument &call) {
    const int count = static_cast<int>(call.arguments.size());
    if (count < method.least || (method.most >= 0 && count > method.most))
        return Fault{ErrorNumber::IncorrectArguments, call.text + ": number of arguments"};
    const auto areAll = [&call](Argument::Kind kind) {
        return std::all_of(call.arguments.begin(), call.arguments.end(),
                           [kind](const Argument &argument) { return argument.kind == kind; });
    };
    const bool right = method.arguments == Arguments::None || method.arguments == Arguments::Any ||
                       (method.arguments == Arguments::Numbers && areAll(Argument::Kind::Number)) ||
                       (method.arguments == Arguments::OneText && areAll(Argument::Kind::Text)) ||
                       (method.arguments == Arguments::OneWord && areAll(Argument::Kind::Word)) ||
                       (method.arguments == Arguments::List && areAll(Argument::Kind::Call));
    if (!right) return Fault{ErrorNumber::BadArgument, call.text};
    return std::nullopt;
}

}  // namespace cmm::dme
