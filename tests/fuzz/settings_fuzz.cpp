// Any file in the place of the settings: read without harm, and a change of one setting survives.
#include <QFile>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>

#include "fuzz/require.h"
#include "store/settings_store.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace corvane;
    using namespace Qt::StringLiterals;
    static const QTemporaryDir folder;
    const QString path = folder.filePath(u"corvane.ini"_s);
    {
        QFile file(path);
        REQUIRE(file.open(QIODevice::WriteOnly));
        file.write(reinterpret_cast<const char*>(data), static_cast<qint64>(size));
    }
    {
        SettingsStore settings(path);
        const int port = settings.GetNumber(u"TcpPortA"_s, 8080, 10, 65534);
        REQUIRE(port >= 10 && port <= 65534);
        const int carry = settings.GetNumber(u"Roll3"_s, 0, -32768, 32767, u"1"_s);
        REQUIRE(carry >= -32768 && carry <= 32767);
        (void)settings.GetBool(u"DBenabled"_s, true);
        (void)settings.GetSetting(u"DevSerial"_s, {}, u"0"_s);
        settings.SaveSetting(u"TcpHostB"_s, u"gateway, \"kitchen\""_s);
    }
    const SettingsStore again(path);
    REQUIRE(again.GetSetting(u"tcphostb"_s) == u"gateway, \"kitchen\""_s);
    return 0;
}
