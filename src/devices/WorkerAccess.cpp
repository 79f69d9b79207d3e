#include <quarn/MonitorException.h>
#include <quarn/SubcommandParserHelper.h>
#include <quarn/Text.h>
#include <quarn/Worker.h>
#include <quarn/WorkerAccess.h>

namespace quarn {

namespace {

std::list<std::string> Usage(const SubcommandParserHelper& parser) {
    return {
        Format("%s summary            lists all workers", parser.Cmd_c()),
        Format("%s stats [<pattern>]  shows statistics of all or matching workers", parser.Spc_c()),
        Format("%s clear              clears the statistics of all workers", parser.Spc_c()),
    };
}

std::list<std::string> MatchingStatistics(const std::string& pattern) {
    std::list<std::string> lines;
    Worker::GetMatchingWorkerStatistics(pattern, lines);
    if (lines.empty())
        throw MonitorException("MON: no worker matches \"%s\"", pattern.c_str());
    return lines;
}

}  // namespace

std::set<std::string> WorkerAccess::GetConsoleCommands(bool withDescriptions) const {
    return {withDescriptions ? "mon: Shows what the workers do" : "mon"};
}

std::list<std::string> WorkerAccess::Execute(const std::string& command,
                                             const std::vector<std::string>& words) {
    const SubcommandParserHelper parser(command, words);
    if (parser.NoSub())
        return Usage(parser);
    std::list<std::string> lines;
    if (parser.Sub("summary", 0))
        Worker::GetAllWorkerSummary(lines);
    else if (parser.Sub("stats", 0, 1))
        lines = MatchingStatistics(parser.Args() == 0 ? "*" : parser.Arg(0));
    else if (parser.Sub("clear", 0))
        Worker::ClearAllWorkerStatistics();
    else
        parser.Unk();
    return lines;
}

}  // namespace quarn
