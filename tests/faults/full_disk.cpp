// The real service on a disk that is full at each step of its life and has room again, on file systems of its
// own that nobody else sees:
//
//   fault_full_disk KIB...      sizes of the disk
//
// Ends with 77 where this machine does not let us mount one.
#include <QFile>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "faults/stepped_service.h"
#include "support/settings_by_key.h"

namespace corvane {
namespace {

using namespace Qt::StringLiterals;

constexpr int kCannotRun = 77;
constexpr int kPage = 4096;  // what such a disk hands out at a time

/// A small file system in the place of a folder.
class SmallDisk {
public:
    SmallDisk(const RenewedFolder& house, int kib) : path_(house.folder.Path().toLocal8Bit()) {
        const QByteArray size = "size=" + QByteArray::number(kib) + "k";
        Require(mount("tmpfs", path_.constData(), "tmpfs", 0, size.constData()) == 0, "no disk");
        house.Renew();
        PresetMonitors(house);
    }
    ~SmallDisk() { umount2(path_.constData(), MNT_DETACH); }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

    /// Takes all the room there is, but for some pages.
    void FillUp(int pagesLeft = 0) const {
        QFile file(Filler());
        Require(file.open(QIODevice::WriteOnly | QIODevice::Unbuffered), "no filler file");
        const QByteArray page(kPage, 'x');
        while (file.write(page) == kPage) {
        }
        file.resize(std::max<qint64>(file.size() - qint64{kPage} * pagesLeft, 0));
    }
    void MakeRoom() const { Require(QFile::remove(Filler()), "the filler stays"); }

private:
    [[nodiscard]] QString Filler() const { return QString::fromLocal8Bit(path_) + u"/filler"_s; }

    QByteArray path_;
};

bool NamesTheFullDisk(const QString& text) {
    return text.contains(u"No space left on device"_s) || text.contains(u"disk is full"_s);
}

void HasItsSettings(const RenewedFolder& house) {
    const SettingsStore settings(house.folder.Path(u"corvane.ini"_s));
    Require(KeptByKey(settings, u"TcpPortA"_s) == QString::number(house.portA), "the settings are lost");
}

/// The first start with ever more room, until there is enough. Each that fails says why, and the next one
/// succeeds.
void FirstStart(const RenewedFolder& house) {
    int refused = 0;
    for (bool started = false; !started;) {
        const SmallDisk disk(house, 128);
        disk.FillUp(refused);
        Started service(u"corvaned"_s, house.Arguments());
        int code = -1;
        const bool decided = SpinUntil(
            [&] {
                code = service.ExitCode(1);
                (void)service.News();
                started = service.Output().contains(u"TCP Server B listens"_s);
                return started || code >= 0;
            },
            30'000);
        Require(decided,
                u"with %1 pages left it neither starts nor ends: "_s.arg(refused) + service.Output());
        if (!started) {
            ++refused;
            Require(code > 0 && NamesTheFullDisk(service.Output()),
                    u"with %1 pages left: "_s.arg(refused - 1) + service.Output());
        }
        service.Kill();
        (void)service.ExitCode();
        disk.MakeRoom();
        Service(house).End();
        Require(RowOfWhole(house.DatabasePath(), "SELECT count(*) FROM applicationinfo, applications") == "1",
                "the next start does not find its tables");
        HasItsSettings(house);
    }
    Tell(
        u"full disk at the first start"_s,
        u"said by name with 0 to %1 KiB left, and nothing half made stays; the next start with room succeeds"_s
            .arg(kPage * (refused - 1) / 1024));
}

/// What is asked for on the full disk says so, and changes nothing.
void Refuses(const RenewedFolder& house, const QStringList& command) {
    const int rows = RowsIn(house, "monitordata_minute");
    const Answered answer = Ctl(house, command);
    std::printf("%s: %d, %s\n", qPrintable(command.join(u' ')), answer.code, qPrintable(answer.text));
    Require(answer.code == 1 && NamesTheFullDisk(answer.text), command.join(u' ') + u": "_s + answer.text);
    Require(RowsIn(house, "monitordata_minute") == rows, command.join(u' ') + u" changed something"_s);
    const QStringList left = QDir(house.folder.Path()).entryList({u"*_bak*"_s, u"*.partial*"_s});
    Require(left.isEmpty(), u"left behind: "_s + left.join(u' '));
}

/// Capture goes on while the disk is full; no row is missing once there is room.
void Capture(const RenewedFolder& house, const SmallDisk& disk, SteppedWall& wall) {
    SteppedService service(house, wall);
    const auto passMinutes = [&](int count) {
        for (int i = 0; i < count; ++i)
            service.PassMinute();
    };
    passMinutes(5);
    AwaitWriting(house, service);
    disk.FillUp();
    Require(SpinUntil([&] {
                passMinutes(1);
                return DatabaseStatus(house)[u"indicator"_s] == "yellow"_L1;
            }),
            "the full disk shows no indicator");
    passMinutes(20);
    const QString status = Ctl(house, {u"status"_s}).text;
    Require(NamesTheFullDisk(status) && status.contains(u"only in memory"_s), u"the status: "_s + status);
    Refuses(house, {u"db"_s, u"backup"_s});
    Refuses(house, {u"db"_s, u"condense"_s, u"2025-12-31"_s, u"2026-01-02"_s});
    const Answered set = Ctl(house, {u"set"_s, u"VoltX2"_s, u"True"_s});
    Require(set.code != 0 && set.text.contains(u"could not be saved"_s), u"the setting: "_s + set.text);

    disk.MakeRoom();
    AwaitWriting(house, service);
    Require(SpinUntil([&] { return !Ctl(house, {u"status"_s}).text.contains(u"only in memory"_s); }),
            "what waits in memory is not kept");
    WriteIn(house);
    service.End();
    Require(RowsIn(house, "monitordata_minute") == kMonitors * wall.Minutes(), "rows are missing");
    HasItsSettings(house);
}

/// The end on a disk with so many pages left: what the queue holds is in a file, or told to be lost.
bool EndKeepsAll(const RenewedFolder& house, const SmallDisk& disk, SteppedWall& wall, int pagesLeft) {
    SteppedService service(house, wall);
    service.PassMinute();
    AwaitWriting(house, service);
    disk.FillUp(pagesLeft);
    service.PassMinute();
    service.End();
    const bool told = service.Output().contains(u"are lost: neither the database nor"_s);
    disk.MakeRoom();
    Service again(house);
    WriteIn(house);
    again.End();
    const int missing = kMonitors * wall.Minutes() - RowsIn(house, "monitordata_minute");
    Require(told == (missing > 0), u"%1 rows are missing after: "_s.arg(missing) + service.Output());
    return !told;
}

void Life(const RenewedFolder& house, int kib) {
    const SmallDisk disk(house, kib);
    SteppedWall wall;
    Capture(house, disk, wall);
    Tell(
        u"full disk of %1 KiB: capture, backup, condense"_s.arg(kib),
        u"said; packets are taken, backup and condense fail and change nothing; with room again no row is missing"_s);
}

void Ends(const RenewedFolder& house) {
    int pagesLeft = 0;
    for (bool kept = false; !kept; ++pagesLeft) {
        const SmallDisk disk(house, 1024);
        SteppedWall wall;
        kept = EndKeepsAll(house, disk, wall, pagesLeft);
    }
    Tell(u"full disk at the end"_s,
         u"with %1 KiB left all that was queued is kept; with less its loss is told"_s.arg(
             kPage * (pagesLeft - 1) / 1024));
}

void Run(const QStringList& words) {
    const RenewedFolder house;
    FirstStart(house);
    for (const QString& kib : words.sliced(1))
        Life(house, kib.toInt());
    Ends(house);
}

/// Mounts of our own, which nobody else sees and which go with this process.
bool HaveOwnMounts() {
    return unshare(CLONE_NEWNS) == 0 && mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

void RunOnOwnMounts(const QStringList& words) {
    // Kept from now on: in a chroot, a program does not find itself any more once it has mounts of its own.
    (void)QCoreApplication::applicationFilePath();
    if (!HaveOwnMounts()) {
        std::puts("This machine cannot run it: it gives no mount of its own, which takes root.");
        std::exit(kCannotRun);
    }
    Run(words);
}

}  // namespace
}  // namespace corvane

int main(int argc, char** argv) {
    return corvane::RunWith(argc, argv, "KIB...", corvane::RunOnOwnMounts);
}
