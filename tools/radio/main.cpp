// ulsa-radio: simulated radio units as a program of their own. Each unit links to a
// node under its dcControllerName, so that the node's hunt for
// "<dcControllerName>/RmcServer" reaches the unit's measurement server here, and
// publishes its unit-status service "KGM_IW_USI:<ldn>" at the node's name server,
// where the node looks for it.
//
// One unit runs in this process; with several, each runs in a child process of its
// own (a kernel has one "RmcServer"). A unit waits for its node, and links again when
// the link is lost.
#include "CommandLine.h"
#include "LinkEndpoint.h"
#include "NameServerSignals.h"
#include "NodeLink.h"
#include "nameServerHost.h"
#include "oseHost.h"
#include "radioUnit.h"
#include "radioUnitConfig.h"
#include "rftiSig.h"
#include "unitStatusService.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace ulsatools;

namespace {

const char* const kUsage =
    "usage: ulsa-radio [--state DIR | --link PATH] [--seconds N] [UNIT OPTIONS]\n"
    "                  [--unit UNIT OPTIONS]...\n"
    "Runs simulated radio units, each linked to the node under its dcControllerName.\n"
    "  --state DIR   the node's state folder (default $ULSA_STATE or .state/node)\n"
    "  --link PATH   the node's link socket (default DIR/link)\n"
    "  --seconds N   stop after N seconds (default: at Ctrl-C)\n"
    "  --unit        begins the next unit; the options before the first --unit are the\n"
    "                first unit's\n"
    "unit options (unit n, counted from 1):\n"
    "  --ldn LDN             default ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-n\n"
    "  --dc NAME             dcControllerName, the link's name at the node (default RU-n)\n"
    "  --ports N             RF ports A.. (1 to 8, default 8)\n"
    "  --measurement-ms MS   time of one measurement (default 2000)\n"
    "  --block-size BYTES    largest block of a file transfer (1 to 65519, default 4096)\n"
    "  --block-delay-ms MS   each block after the first comes MS later (default 0), so\n"
    "                        that a transfer lasts long enough to be cut off\n"
    "  --noise-floor DBM     noise floor per bin (default -110)\n"
    "  --noise-db DB         spread of each bin (default 1)\n"
    "  --carrier MHZ:WIDTH_MHZ:DBM\n"
    "                        a carrier; repeat for more; replaces the default three\n"
    "                        (1932.5:5:-80, 1950:10:-75, 1967.5:15:-85)\n"
    "  --seed N              the spectrum's seed (default 1)\n"
    "Each port sweeps 1920 to 1980 MHz in at most 4096 bins.\n"
    "example:\n"
    "  ulsa-radio --state /tmp/node --ldn ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-1 \\\n"
    "             --dc RU-1 --measurement-ms 500 --carrier 1950:10:-70\n";

const std::set<std::string> kOptions = {
    "--state", "--link", "--seconds", "--ldn", "--dc", "--ports", "--measurement-ms",
    "--block-size", "--block-delay-ms", "--noise-floor", "--noise-db", "--carrier", "--seed"};

struct Unit {
    hostradio::RadioUnitConfig config;
    uint32_t blockDelayMs = 0;  // held back: each RFTI_GET_RESULT_ACK's next block
};

hostradio::Carrier parseCarrier(const std::string& text) {
    double mhz = 0;
    double width = 0;
    double dbm = 0;
    char end = 0;
    if (std::sscanf(text.c_str(), "%lf:%lf:%lf%c", &mhz, &width, &dbm, &end) != 3 || mhz <= 0 ||
        width <= 0 || mhz > 4e6 || width > 4e6 || dbm < -200 || dbm > 100)
        throw UsageError{"--carrier takes MHZ:WIDTH_MHZ:DBM, e.g. 1950:10:-75, not \"" + text + "\""};
    hostradio::Carrier carrier;
    carrier.centerFrequency = static_cast<uint32_t>(mhz * 1000 + 0.5);
    carrier.width = static_cast<uint32_t>(width * 1000 + 0.5);
    carrier.powerDbm = dbm;
    return carrier;
}

Unit unitFrom(const Arguments& args, int n) {
    const std::string number = std::to_string(n);
    Unit unit;
    unit.config = hostradio::defaultRadioUnitConfig(
        args.text("--ldn", "ManagedElement=1,Equipment=1,AuxPlugInUnit=RU-" + number),
        args.text("--dc", "RU-" + number));
    hostradio::RadioUnitConfig& config = unit.config;
    if (config.ldn.empty() || config.dcControllerName.empty() ||
        config.dcControllerName.find('/') != std::string::npos)
        throw UsageError{"a unit needs an LDN and a dcControllerName without \"/\""};
    config.serverNamePrefix = "";  // the node hunts "<dc>/RmcServer" through the link
    config.ports.resize(static_cast<std::size_t>(args.number("--ports", 8, 1, 8)));
    config.measurementTimeMs =
        static_cast<uint32_t>(args.number("--measurement-ms", config.measurementTimeMs, 0, 3600000));
    config.blockSize = static_cast<uint32_t>(args.number("--block-size", config.blockSize, 1, 65519));
    unit.blockDelayMs = static_cast<uint32_t>(args.number("--block-delay-ms", 0, 0, 60000));
    config.spectrum.noiseFloorDbm = args.decimal("--noise-floor", config.spectrum.noiseFloorDbm);
    config.spectrum.noiseDb = args.decimal("--noise-db", config.spectrum.noiseDb);
    if (config.spectrum.noiseDb < 0 || config.spectrum.noiseDb > 50 ||
        config.spectrum.noiseFloorDbm < -200 || config.spectrum.noiseFloorDbm > 100)
        throw UsageError{"--noise-floor is -200 to 100 dBm and --noise-db 0 to 50 dB"};
    if (args.has("--carrier")) {
        config.spectrum.carriers.clear();
        for (const std::string& text : args.all("--carrier"))
            config.spectrum.carriers.push_back(parseCarrier(text));
    }
    config.spectrum.seed = static_cast<uint32_t>(args.number("--seed", config.spectrum.seed, 0,
                                                             0xFFFFFFFFLL));
    return unit;
}

// The unit's status service, as the node sees it: a process here that publishes the
// service's name at the node's name server (so the node's subscribers get this
// process's stand-in there as the provider) and relays between the node and the
// local service. It publishes again each time the link comes back.
constexpr SIGSELECT kUsiFound = 0x7E320;
constexpr SIGSELECT kNodeFound = 0x7E321;
constexpr SIGSELECT kNodeGone = 0x7E322;
std::string g_usiService;  // set before the process starts; read only afterwards

PROCESS findProcess(const std::string& name, SIGSELECT number) {
    union SIGNAL* found = alloc(sizeof(SIGSELECT), number);
    PROCESS pid = 0;
    hunt(name.c_str(), 0, &pid, &found);
    const SIGSELECT select[] = {1, number};
    union SIGNAL* answer = receive(select);
    pid = sender(&answer);
    free_buf(&answer);
    return pid;
}

OS_PROCESS(unitStatusLink) {
    const PROCESS service = findProcess(g_usiService, kUsiFound);
    for (;;) {
        const PROCESS nameServer =
            findProcess(std::string(kNodeLinkName) + "/" + hostns::kNameServerProcess, kNodeFound);
        union SIGNAL* gone = alloc(sizeof(SIGSELECT), kNodeGone);
        attach(&gone, nameServer);
        union SIGNAL* publish =
            alloc(static_cast<OSBUFSIZE>(4 + g_usiService.size() + 1), hostns::NS_ADD_SERVICE);
        std::memcpy(reinterpret_cast<char*>(publish) + 4, g_usiService.c_str(),
                    g_usiService.size() + 1);
        send(&publish, nameServer);
        PROCESS client = 0;
        const SIGSELECT any[] = {0};
        for (;;) {
            union SIGNAL* signal = receive(any);
            SIGSELECT number = 0;
            std::memcpy(&number, signal, sizeof number);
            const PROCESS from = sender(&signal);
            if (from == nameServer) {
                const bool lost = number == kNodeGone;
                if (number == hostns::NS_ADD_SERVICE_REPLY && sigsize(&signal) >= 8) {
                    uint32_t status = 0;
                    std::memcpy(&status, reinterpret_cast<char*>(signal) + 4, sizeof status);
                    if (status != hostns::NS_SUCCESS)
                        std::fprintf(stderr, "ulsa-radio: the node refused %s\n",
                                     g_usiService.c_str());
                }
                free_buf(&signal);
                if (lost)
                    break;  // every stand-in of the node died with the link
            } else if (from == service) {
                if (client != 0)
                    send(&signal, client);
                else
                    free_buf(&signal);
            } else {
                client = from;
                send(&signal, service);
            }
        }
    }
}

volatile std::sig_atomic_t g_stop = 0;

int runUnit(const Unit& unit, const std::string& linkPath, long long seconds) {
    const std::string tag = "ulsa-radio[" + unit.config.dcControllerName + "]";
    hostns::startNameServer();
    const hostradio::RadioUnit radio = hostradio::startRadioUnit(unit.config);
    if (unit.blockDelayMs != 0) {
        // A slow file server, through the simulator's faults: only a process may set them.
        hostradio::RadioFaults faults;
        faults.slowRequest = RFTI_GET_RESULT_ACK;
        faults.answerDelayMs = unit.blockDelayMs;
        ose_adopt_thread("ulsa_radio_setup");
        const bool taken = hostradio::setRadioFaults(radio, faults);
        ose_leave_thread();
        if (!taken) {
            std::fprintf(stderr, "%s: the unit did not take --block-delay-ms\n", tag.c_str());
            return kExitRefused;
        }
    }
    g_usiService = hostusi::serviceName(unit.config.ldn);
    start(create_process(OS_PRI_PROC, "unit_status_link", unitStatusLink, 16384, 16, 0, 0,
                         nullptr, 0, 0));
    hostlink::LinkEndpoint links([&tag](const std::string& line) {
        std::fprintf(stderr, "%s: %s\n", tag.c_str(), line.c_str());
    });
    hostlink::ConnectConfig connect;
    connect.unixPath = linkPath;
    connect.linkName = kNodeLinkName;
    connect.nameAtPeer = unit.config.dcControllerName;
    connect.setupTimeout = std::chrono::milliseconds(3000);
    std::printf("%s: unit %s, ports A to %c, block size %u (delay %u ms), measurement %u ms; "
                "node at %s\n",
                tag.c_str(), unit.config.ldn.c_str(),
                static_cast<char>('A' + unit.config.ports.size() - 1), unit.config.blockSize,
                unit.blockDelayMs, unit.config.measurementTimeMs, linkPath.c_str());
    std::fflush(stdout);
    const std::time_t end = std::time(nullptr) + static_cast<std::time_t>(seconds);
    std::string lastWhy;
    while (g_stop == 0 && (seconds == 0 || std::time(nullptr) < end)) {
        if (links.links().empty()) {
            const std::string why = links.connect(connect);
            if (why.empty()) {
                std::printf("%s: linked to the node as \"%s\"\n", tag.c_str(),
                            unit.config.dcControllerName.c_str());
                lastWhy.clear();
            } else if (why != lastWhy) {
                std::printf("%s: waiting for the node: %s\n", tag.c_str(), why.c_str());
                lastWhy = why;
            }
            std::fflush(stdout);
        }
        usleep(200000);
    }
    links.close();
    hostradio::stopRadioUnit(radio);
    ose_shutdown();
    return kExitOk;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::vector<std::string>> groups(1);
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return kExitOk;
        }
        if (arg == "--unit")
            groups.emplace_back();
        else
            groups.back().push_back(arg);
    }
    std::vector<Unit> units;
    std::string linkPath;
    long long seconds = 0;
    try {
        const char* envState = std::getenv("ULSA_STATE");
        std::string state = envState ? envState : ".state/node";
        for (std::size_t n = 0; n < groups.size(); ++n) {
            const Arguments args(groups[n], kOptions, {});
            if (!args.positional().empty())
                throw UsageError{"unexpected argument \"" + args.positional()[0] + "\""};
            state = args.text("--state", state);
            linkPath = args.text("--link", linkPath);
            seconds = args.number("--seconds", seconds, 0, 86400LL * 365);
            units.push_back(unitFrom(args, static_cast<int>(n + 1)));
        }
        if (linkPath.empty())
            linkPath = nodeLinkPath(state);
        for (std::size_t a = 0; a < units.size(); ++a)
            for (std::size_t b = a + 1; b < units.size(); ++b)
                if (units[a].config.dcControllerName == units[b].config.dcControllerName ||
                    units[a].config.ldn == units[b].config.ldn)
                    throw UsageError{"two units with one LDN or dcControllerName"};
    } catch (const UsageError& error) {
        std::fprintf(stderr, "ulsa-radio: %s\n%s", error.text.c_str(), kUsage);
        return kExitUsage;
    }

    struct sigaction stop {};
    stop.sa_handler = [](int) { g_stop = 1; };
    sigaction(SIGINT, &stop, nullptr);
    sigaction(SIGTERM, &stop, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    if (units.size() == 1)
        return runUnit(units[0], linkPath, seconds);

    // One child per unit, made before any thread exists.
    std::vector<pid_t> children;
    for (const Unit& unit : units) {
        const pid_t child = fork();
        if (child == 0)
            _exit(runUnit(unit, linkPath, seconds));
        if (child > 0)
            children.push_back(child);
    }
    std::size_t running = children.size();
    bool told = false;
    while (running > 0) {
        if (g_stop != 0 && !told) {
            for (const pid_t child : children)
                kill(child, SIGTERM);
            told = true;
        }
        int status = 0;
        const pid_t ended = waitpid(-1, &status, 0);
        if (ended > 0)
            --running;
    }
    return kExitOk;
}
