// See the header.
#include "commands/adjust.h"

#include "app/failure.h"
#include "text/dates.h"

namespace qrx::cli {

void FillAdjustment(QRXDefine_ReqKLine& request, const Arguments& arguments) {
    const std::string strMode = arguments.Get("--adjust", "none");
    request.nModeFlag = strMode == "forward" ? 1 : strMode == "backward" ? 2 : 0;
    if (arguments.Has("--adjust-date")) {
        if (strMode != "forward") RefuseUsage("--adjust-date goes with --adjust forward");
        request.nModeDate = ParseDate(arguments.Get("--adjust-date"), "--adjust-date");
    }
    if (arguments.Has("--adjust-volume") && request.nModeFlag == 0) {
        RefuseUsage("--adjust-volume goes with --adjust forward or --adjust backward");
    }
    request.nModeSwitch = arguments.Has("--adjust-volume") ? 1 : 0;
}

}  // namespace qrx::cli
