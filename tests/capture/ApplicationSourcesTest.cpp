// What application capture builds from plain data, without a server: the link plan,
// the process and application lists from the audio graph, the installed applications
// and the stored selection.

#include "capture/AppSelection.h"
#include "capture/DesktopApplications.h"
#include "capture/pipewire/LinkPlan.h"
#include "capture/pipewire/PlaybackStreams.h"
#include "settings/DefaultsStore.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace {

// --- audio graph ---

constexpr std::uint32_t tapNode = 10;
constexpr std::uint32_t streamNode = 20;

struct Graph {
    GraphObjects objects;
    std::uint32_t nextPortId = 1000;

    // Ports in the node's own order (port.id 0, 1, ...), registry ids ascending.
    void ports(std::uint32_t node, const char *direction, const std::vector<std::string> &channels,
               bool monitor = false)
    {
        for (std::size_t i = 0; i < channels.size(); ++i) {
            port(nextPortId++, node, direction, channels[i], static_cast<int>(i), monitor);
        }
    }
    void port(std::uint32_t id, std::uint32_t node, const char *direction, const std::string &channel, int index,
              bool monitor = false)
    {
        GraphObject object{GraphObject::Type::port, id, {}, false};
        object.props = {{"node.id", std::to_string(node)},
                        {"port.direction", direction},
                        {"audio.channel", channel},
                        {"port.id", std::to_string(index)}};
        if (monitor) object.props["port.monitor"] = "true";
        objects[id] = object;
    }
    void node(std::uint32_t id, GraphObject::Type type, std::map<std::string, std::string> props, bool running = false)
    {
        objects[id] = GraphObject{type, id, std::move(props), running};
    }

    // The links as "node:channel>channel" (the source node, its output's channel and
    // the tap input's channel), sorted.
    std::set<std::string> describe(const std::vector<PortLink> &links) const
    {
        std::set<std::string> text;
        for (const PortLink &link : links) {
            EXPECT_EQ(link.inputNode, tapNode);
            text.insert(std::to_string(link.outputNode) + ":" + objects.at(link.outputPort).prop("audio.channel") +
                        ">" + objects.at(link.inputPort).prop("audio.channel"));
        }
        return text;
    }
};

TEST(LinkPlan, RoutingsConnectChannelsByPosition)
{
    const std::vector<std::string> fiveOne = {"FL", "FR", "FC", "LFE", "SL", "SR"};
    const std::vector<std::string> stereo = {"FL", "FR"};
    struct Case {
        const char *name;
        LinkRouting routing;
        std::vector<std::string> stream;
        std::vector<std::string> tap;
        std::set<std::string> links;
    };
    const Case cases[] = {
        {"front pair of a 4ch stream", LinkRouting::frontPair, {"FL", "FR", "FC", "LFE"}, stereo,
         {"20:FL>FL", "20:FR>FR"}},
        {"front pair of a mono stream", LinkRouting::frontPair, {"MONO"}, stereo, {"20:MONO>FL", "20:MONO>FR"}},
        {"same position, 5.1 onto 5.1", LinkRouting::samePosition, fiveOne, fiveOne,
         {"20:FL>FL", "20:FR>FR", "20:FC>FC", "20:LFE>LFE", "20:SL>SL", "20:SR>SR"}},
        {"same position, 5.1 onto stereo", LinkRouting::samePosition, fiveOne, stereo, {"20:FL>FL", "20:FR>FR"}},
        {"same position, mono onto 5.1", LinkRouting::samePosition, {"MONO"}, fiveOne, {"20:MONO>FL", "20:MONO>FR"}},
        {"stereo fold of 5.1", LinkRouting::stereoFold, fiveOne, stereo,
         {"20:FL>FL", "20:FR>FR", "20:FC>FL", "20:FC>FR", "20:LFE>FL", "20:LFE>FR", "20:SL>FL", "20:SR>FR"}},
        {"stereo fold onto a mono input", LinkRouting::stereoFold, {"FL", "FR", "FC"}, {"MONO"},
         {"20:FL>MONO", "20:FR>MONO", "20:FC>MONO"}},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.name);
        Graph graph;
        graph.ports(streamNode, "out", c.stream);
        graph.ports(tapNode, "in", c.tap);
        const std::uint32_t sources[] = {streamNode};
        const std::vector<PortLink> links = planLinks(graph.objects, sources, tapNode, c.routing);
        EXPECT_EQ(graph.describe(links), c.links);
        EXPECT_EQ(links.size(), c.links.size());
    }
}

TEST(LinkPlan, OnlySignalPortsOfExistingNodesAreLinked)
{
    Graph graph;
    graph.ports(streamNode, "out", {"FL", "FR"});
    graph.ports(streamNode, "out", {"FL", "FR"}, true); // the stream's monitor
    graph.ports(21, "out", {"MONO"});
    graph.ports(tapNode, "out", {"FL", "FR"}, true); // the tap's own monitor outputs
    const std::uint32_t sources[] = {streamNode, 21, 99 /* gone */};

    EXPECT_TRUE(planLinks(graph.objects, sources, tapNode, LinkRouting::stereoFold).empty())
        << "no inputs on the capture node yet";

    graph.ports(tapNode, "in", {"FL", "FR"});
    const std::vector<PortLink> links = planLinks(graph.objects, sources, tapNode, LinkRouting::stereoFold);
    EXPECT_EQ(graph.describe(links), (std::set<std::string>{"20:FL>FL", "20:FR>FR", "21:MONO>FL", "21:MONO>FR"}));
    EXPECT_EQ(links.size(), 4u) << "monitor ports are no outputs";
    EXPECT_TRUE(std::is_sorted(links.begin(), links.end()));
    EXPECT_EQ(outputPositions(graph.objects, streamNode), (std::vector<std::string>{"FL", "FR"}));
}

TEST(LinkPlan, PortsFollowTheNodesOwnNumbering)
{
    Graph graph;
    // Registry ids in the opposite order to the ports' places on the node.
    graph.port(503, streamNode, "out", "FL", 0);
    graph.port(502, streamNode, "out", "FR", 1);
    graph.port(501, streamNode, "out", "FC", 2);
    graph.port(500, streamNode, "out", "LFE", 3);
    EXPECT_EQ(outputPositions(graph.objects, streamNode), (std::vector<std::string>{"FL", "FR", "FC", "LFE"}));
}

// --- playback streams and the lists built on them ---

constexpr std::int64_t ownPid = 4242;

TEST(PlaybackStreams, ProcessIsResolvedFromTheStreamThenItsClient)
{
    Graph graph;
    // pw-play: the stream names the application, the client the tool and the process.
    graph.node(30, GraphObject::Type::client,
               {{"application.name", "pw-cat"}, {"application.process.binary", "pw-cat"},
                {"application.process.id", "1234"}});
    graph.node(40, GraphObject::Type::playbackStream, {{"client.id", "30"}, {"application.name", "PlayerA"}}, true);
    // A sandboxed application: everything on the client.
    graph.node(31, GraphObject::Type::client,
               {{"application.name", "Firefox"}, {"application.process.binary", "firefox"},
                {"application.process.id", "2000"}, {"pipewire.access.portal.app_id", "org.mozilla.firefox"}});
    graph.node(41, GraphObject::Type::playbackStream, {{"client.id", "31"}});
    // A stream that says it all itself; its client says otherwise.
    graph.node(42, GraphObject::Type::playbackStream,
               {{"client.id", "30"}, {"application.process.id", "77"}, {"application.process.binary", "mpv"}});
    // A client id that is not a client.
    graph.ports(50, "out", {"FL"});
    graph.node(43, GraphObject::Type::playbackStream,
               {{"client.id", std::to_string(graph.nextPortId - 1)}, {"application.name", "Lonely"}});

    const std::vector<PlaybackStream> streams = playbackStreams(graph.objects, ownPid);
    ASSERT_EQ(streams.size(), 4u);
    const auto expect = [](const PlaybackStream &s, std::uint32_t node, std::int64_t pid, const char *name,
                           const char *binary, const char *portal, bool running) {
        SCOPED_TRACE(node);
        EXPECT_EQ(s.nodeId, node);
        EXPECT_EQ(s.processId, pid);
        EXPECT_EQ(s.appName, name);
        EXPECT_EQ(s.binary, binary);
        EXPECT_EQ(s.portalAppId, portal);
        EXPECT_EQ(s.running, running);
    };
    expect(streams[0], 40, 1234, "PlayerA", "pw-cat", "", true);
    expect(streams[1], 41, 2000, "Firefox", "firefox", "org.mozilla.firefox", false);
    expect(streams[2], 42, 77, "pw-cat", "mpv", "", false);
    expect(streams[3], 43, 0, "Lonely", "", "", false);
}

TEST(PlaybackStreams, OwnAndServerStreamsAreLeftOut)
{
    Graph graph;
    graph.node(30, GraphObject::Type::client, {{"application.process.binary", "wireplumber"}});
    graph.node(40, GraphObject::Type::playbackStream, {{"client.id", "30"}, {"application.process.id", "9"}});
    graph.node(41, GraphObject::Type::playbackStream,
               {{"application.process.binary", "pipewire"}, {"application.process.id", "8"}});
    graph.node(42, GraphObject::Type::playbackStream,
               {{"application.process.binary", "kelvrameters"}, {"application.process.id", std::to_string(ownPid)}});
    graph.node(43, GraphObject::Type::playbackStream,
               {{"application.process.binary", "pw-play"}, {"application.process.id", "7"}});
    const std::vector<PlaybackStream> streams = playbackStreams(graph.objects, ownPid);
    ASSERT_EQ(streams.size(), 1u);
    EXPECT_EQ(streams[0].nodeId, 43u);
}

PlaybackStream stream(std::int64_t pid, const char *name, const char *binary, const char *portal = "",
                      bool running = false)
{
    PlaybackStream s;
    s.processId = pid;
    s.appName = name;
    s.binary = binary;
    s.portalAppId = portal;
    s.running = running;
    return s;
}

TEST(PlaybackStreams, ProcessesGroupTheirStreams)
{
    const std::vector<PlaybackStream> streams = {
        stream(10, "Player", "player"),
        stream(0, "Unknown", "ghost", "", true),
        stream(20, "", "tool"),
        stream(10, "Player (second stream)", "player", "", true),
        stream(30, "Browser", "browser-bin", "org.example.Browser"),
        stream(40, "Nameless", ""),
    };
    const std::vector<AudioProcessInfo> expected = {
        {10, "Player", QStringLiteral("player"), true},
        {20, "PID 20", QStringLiteral("tool"), false},
        {30, "Browser", QStringLiteral("org.example.Browser"), false},
        {40, "Nameless", std::nullopt, false},
    };
    EXPECT_EQ(discoverAudioProcesses(streams), expected);
}

TEST(PlaybackStreams, RunningAppsOncePerIdentifierByName)
{
    const std::vector<PlaybackStream> streams = {
        stream(1, "zeta", "zeta"),
        stream(2, "Alpha", "alpha", "org.example.Alpha"),
        stream(3, "alpha again", "alpha", "org.example.Alpha"),
        stream(4, "", ""),
        stream(5, "Beta", "beta"),
        stream(6, "", "gamma"),
    };
    const std::vector<CapturedApp> expected = {
        {"org.example.Alpha", "Alpha"}, {"beta", "Beta"}, {"gamma", "PID 6"}, {"zeta", "zeta"}};
    EXPECT_EQ(runningApps(streams), expected);
}

TEST(PlaybackStreams, MatchesByPortalIdOrProgram)
{
    const PlaybackStream sandboxed = stream(1, "Browser", "browser-bin", "org.example.Browser");
    const PlaybackStream plain = stream(2, "Player", "player");
    const PlaybackStream anonymous = stream(3, "Nobody", "");
    struct Case {
        const PlaybackStream &stream;
        QSet<QString> ids;
        bool matches;
    };
    const Case cases[] = {
        {sandboxed, {"org.example.Browser"}, true},
        {sandboxed, {"browser-bin"}, true},
        {sandboxed, {"Browser"}, false},
        {plain, {"other", "player"}, true},
        {plain, {}, false},
        {anonymous, {""}, false},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(c.stream.matches(c.ids), c.matches) << c.stream.processId << " " << c.ids.values().join(',').toStdString();
    }
}

// --- installed applications ---

void writeEntry(const QString &directory, const QString &file, const QByteArray &text)
{
    ASSERT_TRUE(QDir().mkpath(directory + QStringLiteral("/applications")));
    QFile entry(directory + QStringLiteral("/applications/") + file);
    ASSERT_TRUE(entry.open(QIODevice::WriteOnly));
    entry.write(text);
}

TEST(DesktopApplications, EntriesOfTheDataDirectories)
{
    QTemporaryDir root;
    ASSERT_TRUE(root.isValid());
    const QString home = root.filePath(QStringLiteral("home"));
    const QString system = root.filePath(QStringLiteral("system"));
    const QByteArray app = "[Desktop Entry]\nType=Application\n";
    writeEntry(home, "player.desktop", app + "Name=Player\nName[de]=Spieler\nExec=/usr/bin/player %U\n");
    writeEntry(home, "quoted.desktop", app + "Name=My App\nExec=\"/opt/My App/my-app\" --flag %f\n");
    writeEntry(home, "wrapped.desktop", app + "Name=editor\nExec=env GDK_BACKEND=x11 LANG=C editor %F\n");
    writeEntry(home, "actions.desktop",
               app + "Name=Actions\nExec=actions-main\n\n[Desktop Action new]\nName=New\nExec=actions-other\n");
    writeEntry(home, "menuless.desktop", app + "Name=Menuless\nExec=menuless\nNoDisplay=true\n");
    writeEntry(home, "deleted.desktop", app + "Name=Deleted\nExec=deleted\nHidden=true\n");
    writeEntry(home, "link.desktop", "[Desktop Entry]\nType=Link\nName=Link\nURL=https://example.org\nExec=link\n");
    writeEntry(home, "shadow.desktop", app + "Name=Shadow (user)\nExec=shadow-user\n");
    writeEntry(system, "shadow.desktop", app + "Name=Shadow (system)\nExec=shadow-system\n");
    writeEntry(system, "deleted.desktop", app + "Name=Deleted\nExec=deleted\n"); // hidden by the user's copy
    writeEntry(system, "beta.desktop", app + "Name=Beta\nExec=beta\n");

    const std::vector<CapturedApp> expected = {
        {"actions-main", "Actions"}, {"beta", "Beta"}, {"editor", "editor"},
        {"my-app", "My App"},        {"player", "Player"}, {"shadow-user", "Shadow (user)"},
    };
    EXPECT_EQ(installedApplications({home, system, root.filePath(QStringLiteral("missing"))}), expected);
}

// Beyond what the entries above show.
TEST(DesktopApplications, ProgramOfAnExecLine)
{
    const std::pair<const char *, const char *> cases[] = {
        {"my\\ app %f", "my app"},
        {"/usr/bin/env A=1 program", "program"},
        {"env A=1", ""},
        {"   ", ""},
    };
    for (const auto &[exec, program] : cases) EXPECT_EQ(execProgram(QString::fromUtf8(exec)), program) << exec;
}

// --- stored selection ---

TEST(AppSelection, RoundTripsThroughTheStore)
{
    MemoryDefaultsStore store;
    EXPECT_EQ(AppSelectionData::load(store).selectedBundleIDs, QStringList());

    AppSelectionData selection;
    selection.selectedBundleIDs = {"org.example.Browser", "player", "zeta"};
    selection.isSCKModeEnabled = true;
    selection.save(store);

    const AppSelectionData loaded = AppSelectionData::load(store);
    EXPECT_EQ(loaded.selectedBundleIDs, selection.selectedBundleIDs);
    EXPECT_TRUE(loaded.isSCKModeEnabled);
    // The stored text itself: its key names are the persisted format.
    EXPECT_EQ(store.readString("sckAppSelection"),
              QStringLiteral(R"({"isSCKModeEnabled":true,"selectedBundleIDs":["org.example.Browser","player","zeta"]})"));
}

TEST(AppSelection, UnreadableValuesLoadEmptyWithTheModeOff)
{
    const char *values[] = {
        "not json",
        "[]",
        R"({"selectedBundleIDs": "player", "isSCKModeEnabled": true})",
        R"({"selectedBundleIDs": ["player", 3], "isSCKModeEnabled": true})",
        R"({"selectedBundleIDs": ["player"], "isSCKModeEnabled": "true"})",
        R"({"selectedBundleIDs": ["player"]})",
    };
    for (const char *value : values) {
        MemoryDefaultsStore store;
        store.writeString("sckAppSelection", QString::fromUtf8(value));
        const AppSelectionData loaded = AppSelectionData::load(store);
        EXPECT_TRUE(loaded.selectedBundleIDs.isEmpty()) << value;
        EXPECT_FALSE(loaded.isSCKModeEnabled) << value;
    }
}

} // namespace
