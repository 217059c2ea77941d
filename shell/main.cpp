// raster-shell: runs suites of Raster-scan subtests through the program's processes and
// protocol, shows their progress and keeps a report of each run.
#include "Catalog.h"
#include "Messages.h"
#include "Platform.h"
#include "Report.h"
#include "Runner.h"
#include "Suite.h"
#include "Terminal.h"
#include "Inventory.h"
#ifdef RASTERSCAN_SHELL_STORE
#include "StoreCommands.h"
#endif

#include <CLI/CLI.hpp>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <algorithm>

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

std::atomic<bool> interrupted{false};
#ifdef RASTERSCAN_SHELL_STORE
// The results store's settings, shared by its commands and the observer of a run.
store::StoreOptions storeOptions;
#endif

struct Settings {
    std::string suite;
    std::string program;
    std::string out;
    std::string locale = "en_US";
    std::string pc;
    std::string machine;
    std::string resume;
    std::string list;
    bool listGiven = false;
    bool checkOnly = false;
    int jobs = 1;
};

std::string ProgramBase(const fs::path& program) {
    std::string base = program.filename().string();
    if (base.size() > 4 && base.compare(base.size() - 4, 4, ".exe") == 0) base.resize(base.size() - 4);
    return base;
}

shell::MessageCatalogue LoadCatalogue(const fs::path& path) {
    shell::MessageCatalogue c;
    std::string problem;
    if (!c.Load(path.string(), problem) && !problem.empty()) std::cerr << "warning: " << problem << std::endl;
    return c;
}

// Asks the program something; its standard output, or empty and a line on standard error.
std::string Ask(const std::string& program, const std::string& question, const std::string& machine) {
    shellos::SpawnSpec launch{program, {question}, "", {}, {}};
    if (!machine.empty()) launch.setEnv.emplace_back("RASTERSCAN_MACHINE", machine);
    std::string out, err, error;
    shellos::ExitInfo exit;
    if (!shell::RunToEnd(launch, 60, out, err, exit, error)) {
        std::cerr << "error: " << program << " " << question << ": " << error << std::endl;
        return "";
    }
    if (exit.crashed || exit.code != 0) {
        std::cerr << "error: " << program << " " << question << " ended with status " << exit.code << std::endl;
        return "";
    }
    return out;
}

std::string Trim(const std::string& s) {
    std::size_t b = s.find_first_not_of(" \t\r\n"), e = s.find_last_not_of(" \t\r\n");
    return b == std::string::npos ? "" : s.substr(b, e - b + 1);
}

int List(const shell::Catalog& catalog, const std::string& name) {
    if (name.empty()) {
        std::cout << catalog.name << " " << catalog.version << "\n\nSubtests:\n";
        for (const auto& t : catalog.tests) std::printf("  %-26s %s\n", t.name.c_str(), t.description.c_str());
        return 0;
    }
    const shell::TestInfo* test = catalog.Find(name);
    if (!test) {
        std::cerr << "error: the program has no subtest " << name << std::endl;
        return 2;
    }
    std::cout << test->name << ": " << test->description << "\n\nArguments:\n";
    for (const auto& a : test->arguments) {
        std::string rule = a.ConstraintText();
        std::printf("  %-26s %-8s default %-10s%s%s%s\n      %s\n", a.name.c_str(), a.type.c_str(),
                    a.defaultValue.empty() ? "(none)" : a.defaultValue.c_str(), a.required ? " required" : "",
                    rule.empty() ? "" : ("; " + rule).c_str(), a.hidden ? " (hidden)" : "", a.description.c_str());
    }
    return 0;
}

void PrintTable(const json& results) {
    std::cout << "\n";
    int width = 4;
    for (const auto& s : results["steps"]) width = std::max(width, static_cast<int>(s.value("name", "").size()));
    std::printf("%-4s %-*s %-22s %9s  %s\n", "#", width, "Step", "Verdict", "Time", "Failure");
    for (const auto& s : results["steps"]) {
        char time[32] = "";
        if (!s["started_at"].is_null()) std::snprintf(time, sizeof time, "%.1f s", s.value("duration_s", 0.0));
        std::string reason = s.value("reason", "");
        for (char& c : reason)
            if (static_cast<unsigned char>(c) < 0x20) c = ' ';
        std::printf("%-4d %-*s %-22s %9s  %s\n", s.value("index", 0) + 1, width, s.value("name", "").c_str(),
                    shell::VerdictText(s).c_str(), time, reason.c_str());
    }
    std::cout << std::flush;
}

int RunSuite(const Settings& settings) {
    const fs::path shellDir = fs::path(shellos::ExecutablePath()).parent_path();
    json journal;
    shell::RunOptions options;
    std::string suitePath = settings.suite;
    if (!settings.resume.empty()) {
        std::ifstream in(fs::path(settings.resume) / "journal.json");
        if (!in) {
            std::cerr << "error: " << settings.resume << " holds no journal.json of a run" << std::endl;
            return 2;
        }
        try {
            journal = json::parse(in);
        } catch (const std::exception& e) {
            std::cerr << "error: " << settings.resume << "/journal.json cannot be read: " << e.what() << std::endl;
            return 2;
        }
        suitePath = journal.value("suite_path", "");
        options.program = journal.value("program", "");
        options.locale = journal.value("locale", "en_US");
        options.pc = journal.value("pc", "");
        options.fieldMachine = journal.value("field_machine", "");
        options.jobs = journal.value("jobs", 1);
        options.outDir = fs::absolute(settings.resume).string();
    } else {
        if (suitePath.empty()) {
            std::cerr << "error: no suite given (raster-shell run SUITE, or --list)" << std::endl;
            return 2;
        }
        options.program = settings.program.empty()
                              ? (shellDir / (std::string("raster-scan") + (shellDir.string().find('\\') != std::string::npos ||
                                                                            fs::exists(shellDir / "raster-scan.exe") ? ".exe" : "")))
                                    .string()
                              : fs::absolute(settings.program).string();
        options.locale = settings.locale;
        options.pc = !settings.pc.empty() ? settings.pc : shellos::EnvOr("RASTERSCAN_PC", shellos::HostName());
        std::string machine = !settings.machine.empty() ? settings.machine : shellos::EnvOr("RASTERSCAN_MACHINE", "");
        options.fieldMachine = machine.empty() ? "" : fs::absolute(machine).lexically_normal().string();
        options.jobs = settings.jobs;
    }
#ifdef _WIN32
    // On Windows the steps share the one screen.
    if (options.jobs > 1) std::cerr << "warning: steps run one at a time on Windows; --jobs is ignored" << std::endl;
    options.jobs = 1;
#endif
    if (!options.fieldMachine.empty() && !fs::is_regular_file(options.fieldMachine)) {
        std::cerr << "error: the field machine " << options.fieldMachine << " is no file" << std::endl;
        return 2;
    }
    if (!fs::is_regular_file(options.program)) {
        std::cerr << "error: no program at " << options.program << " (give it with --program)" << std::endl;
        return 2;
    }

    const fs::path programDir = fs::path(options.program).parent_path();
    shell::Texts texts(options.locale, LoadCatalogue(programDir / (ProgramBase(options.program) + ".msg")),
                       LoadCatalogue(shellDir / "raster-shell.msg"));

    std::vector<std::string> problems;
    shell::Suite suite = shell::LoadSuite(suitePath, problems);
    std::string catalogText = Ask(options.program, "-catalog=true", options.fieldMachine);
    if (catalogText.empty()) return 2;
    shell::Catalog catalog;
    try {
        catalog = shell::ParseCatalog(catalogText);
    } catch (const std::exception& e) {
        std::cerr << "error: " << options.program << " -catalog=true: " << e.what() << std::endl;
        return 2;
    }
    if (problems.empty()) problems = shell::ValidateSuite(suite, catalog);
    if (!problems.empty()) {
        for (const auto& p : problems) std::cerr << "error: " << p << std::endl;
        std::cerr << "error: the suite was refused; nothing was run" << std::endl;
        return 2;
    }
    if (settings.checkOnly) {
        std::cout << suitePath << ": " << suite.steps.size() << " steps, each known to " << options.program << std::endl;
        return 0;
    }
    if (!journal.is_null() && journal["results"]["steps"].size() != suite.steps.size()) {
        std::cerr << "error: " << suitePath << " no longer has the steps of the run in " << settings.resume << std::endl;
        return 2;
    }

    if (settings.resume.empty()) {
        std::string version = Ask(options.program, "-version=true", options.fieldMachine);
        std::istringstream lines(version);
        for (std::string line; std::getline(lines, line);)
            if (line.rfind("Version:", 0) == 0) options.programVersion = Trim(line.substr(8));
        if (options.programVersion.empty()) options.programVersion = Trim(version.substr(0, version.find('\n')));
        std::string stamp = shell::UtcNow();
        for (char& c : stamp)
            if (c == ':') c = '-';
        options.outDir = fs::absolute(settings.out.empty() ? (shellDir / "runs" / (stamp + "-" + suite.name)).string()
                                                           : settings.out)
                             .string();
        if (fs::exists(fs::path(options.outDir) / "journal.json")) {
            std::cerr << "error: " << options.outDir << " already holds a run; give --resume to go on with it" << std::endl;
            return 2;
        }
    } else {
        options.programVersion = journal.value("program_version", "");
    }

    if (settings.resume.empty()) {
        // The hardware under test, read by the inventory program beside the shell.
        const fs::path inventory = shellDir / (std::string("raster-inventory") +
                                               (fs::exists(shellDir / "raster-inventory.exe") ? ".exe" : ""));
        std::string problem;
        options.hardware = ReadInventory(inventory.string(), options.fieldMachine, &problem);
        if (options.hardware.is_null()) std::cerr << "warning: no hardware inventory: " << problem << std::endl;
    }

    bool live = shellos::StdoutIsTerminal() && shellos::EnvOr("TERM", "") != "dumb";
    shell::Terminal terminal(live);
    shellos::InstallInterruptHandler(&interrupted);
    shell::Runner runner(options, suite, texts, terminal, interrupted);
    // Observers of the run: the results store records each step as it ends.
    std::vector<RunObserver*> observers;
#ifdef RASTERSCAN_SHELL_STORE
    if (storeOptions.pc.empty()) storeOptions.pc = options.pc;
    storeOptions.runsRoot = (shellDir / "runs").string();
    storeOptions.runFolder = options.outDir;
    std::unique_ptr<RunObserver> storeObserver = MakeStoreObserver(storeOptions);
    observers.push_back(storeObserver.get());
#endif
    for (RunObserver* o : observers) runner.AddObserver(o);

    terminal.Line("Suite " + suite.name + " (" + std::to_string(suite.steps.size()) + " steps) with " + options.program +
                  (options.fieldMachine.empty() ? "" : " on " + options.fieldMachine));
    if (journal.is_null()) runner.Start();
    else runner.Resume(journal);
    int status = 1;
    try {
        status = runner.Execute();
    } catch (const std::exception& e) {
        std::cerr << "error: " << e.what() << std::endl;
    }
    PrintTable(runner.Results());
    if (interrupted.load()) std::cout << "The run was stopped; the steps not run are marked so." << std::endl;
    std::cout << runner.ReportPath() << std::endl;
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    shellos::PrepareConsole();
    CLI::App app{"raster-shell: runs suites of Raster-scan subtests and keeps a report of each run"};
    app.set_version_flag("--version", shell::ShellVersion);
    app.require_subcommand(0, 1);

    Settings settings;
    CLI::App* run = app.add_subcommand("run", "Run a suite (the default: raster-shell SUITE)");
    run->add_option("suite", settings.suite, "The suite file, e.g. suites/main.ini");
    run->add_option("--program", settings.program, "The program to drive (default: raster-scan beside the shell)");
    run->add_option("--out", settings.out, "The run's folder (default: runs/<time>-<suite> beside the shell)");
    run->add_option("--locale", settings.locale, "Language of the texts, a section of the catalogues")->capture_default_str();
    run->add_option("--pc", settings.pc, "The PC's name in the results (default: RASTERSCAN_PC, else the host name)");
    run->add_option("--machine", settings.machine, "The field machine (default: RASTERSCAN_MACHINE, else the built-in one)");
    run->add_option("--jobs", settings.jobs, "Steps that share nothing run this many at a time")->check(CLI::Range(1, 64));
    run->add_option("--resume", settings.resume, "Go on with the run in this folder after the PC went down");
    run->add_flag("--check", settings.checkOnly, "Check the suite against the program's catalog; run nothing");
    run->add_option("--list", settings.list, "List the program's subtests, or one subtest's arguments")->expected(0, 1);
#ifdef RASTERSCAN_SHELL_STORE
    storeOptions.runsRoot = (fs::path(shellos::ExecutablePath()).parent_path() / "runs").string();
    AddStoreCommands(app, &storeOptions);
    // --store and --pc stand before or after "run".
    app.fallthrough();
#endif

    // "raster-shell SUITE" means "raster-shell run SUITE".
    std::vector<std::string> args(argv + 1, argv + argc);
    bool named = false;
    for (const CLI::App* sub : app.get_subcommands([](CLI::App*) { return true; }))
        named = named || (!args.empty() && sub->get_name() == args[0]);
    named = named || (!args.empty() && (args[0] == "--help" || args[0] == "-h" || args[0] == "--version"));
    if (!named) args.insert(args.begin(), "run");
    std::reverse(args.begin(), args.end());
    try {
        app.parse(args);
    } catch (const CLI::ParseError& e) {
        return app.exit(e);
    }

    if (run->parsed()) {
#ifdef RASTERSCAN_SHELL_STORE
        if (settings.pc.empty()) settings.pc = storeOptions.pc;
#endif
        settings.listGiven = run->count("--list") > 0;
        if (settings.listGiven) {
            const fs::path shellDir = fs::path(shellos::ExecutablePath()).parent_path();
            std::string program = settings.program.empty() ? (shellDir / "raster-scan").string() : settings.program;
            if (!fs::exists(program) && fs::exists(program + ".exe")) program += ".exe";
            std::string machine = !settings.machine.empty() ? settings.machine : shellos::EnvOr("RASTERSCAN_MACHINE", "");
            std::string text = Ask(program, "-catalog=true", machine.empty() ? "" : fs::absolute(machine).string());
            if (text.empty()) return 2;
            try {
                return List(shell::ParseCatalog(text), settings.list);
            } catch (const std::exception& e) {
                std::cerr << "error: " << e.what() << std::endl;
                return 2;
            }
        }
        return RunSuite(settings);
    }
    return 0;
}
