// Any file in the place of the settings: read without harm, and a change of one setting survives.
#include <QFile>

#include <cstddef>
#include <cstdint>

#include "fuzz/quick_folder.h"
#include "fuzz/require.h"
#include "link/tcp_link.h"
#include "measure/measurement.h"
#include "store/db_writer.h"
#include "store/settings_store.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace corvane;
    using namespace Qt::StringLiterals;
    static const QuickFolder folder;
    const QString path = folder.Path(u"corvane.ini"_s);
    {
        QFile file(path);
        REQUIRE(file.open(QIODevice::WriteOnly));
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    }
    {
        SettingsStore settings(path);
        for (const Setting& number : {kTcpPortA, kCarry}) {
            const int value = settings.Number(number, {.member = u"3"_s, .slot = 1});
            REQUIRE(value >= number.least && value <= number.most);
        }
        (void)settings.IsOn(kDatabaseEnabled);
        (void)settings.Value(kDeviceSerial, {.slot = 1});
        settings.Save(kTcpHostB, u"gateway, \"kitchen\""_s);
    }
    const SettingsStore again(path);
    REQUIRE(again.Value(kTcpHostB) == u"gateway, \"kitchen\""_s);
    return 0;
}
