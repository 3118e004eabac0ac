#include "tests/unit/diag/tell/Sample.h"

#include "diag/tell/JsonReport.h"
#include "diag/tell/TextReport.h"
#include "tests/fakes/FakePcsc.h"
#include "tests/support/TemporaryFolder.h"

#include <reader.h>
#include <winscard.h>

#include <cerrno>

using namespace Diag;

namespace {

constexpr std::int64_t SampleTime = 1772373909; // 2026-03-01 14:05:09 UTC

Attribute Told(unsigned long tag, const std::string& bytes) {
    return {tag, SCARD_S_SUCCESS, bytes};
}

Attribute Failed(unsigned long tag, long code) {
    return {tag, code, {}};
}

Reader PinPadReader() {
    Reader reader;
    reader.name = "REINER SCT cyberJack RFID standard (0987654321) 00 00";
    reader.asked = reader.connected = reader.featuresAsked = true;
    reader.state = SCARD_STATE_PRESENT | SCARD_STATE_INUSE;
    reader.atr = "\x3B\x80\x01\x81";
    reader.protocol = SCARD_PROTOCOL_T1;
    reader.attributes = {Told(SCARD_ATTR_VENDOR_NAME, std::string("REINER SCT\0", 11)),
                         Told(SCARD_ATTR_VENDOR_IFD_TYPE, "cyberJack RFID standard"),
                         Told(SCARD_ATTR_DEVICE_UNIT, std::string("\x00\x00\x00\x00", 4)),
                         Told(SCARD_ATTR_VENDOR_IFD_SERIAL_NO, "0987654321"),
                         Told(SCARD_ATTR_DEVICE_SYSTEM_NAME_A, reader.name),
                         Told(SCARD_ATTR_DEVICE_FRIENDLY_NAME_A, reader.name)};
    reader.channel = std::string("\x04\x01\x20\x00", 4);
    reader.features = FakePcsc::FeatureList({{6, 0x42330006}, {7, 0x42330007}, {0x77, 0x42330077}});
    reader.isSecure = reader.isSecureByName = true;
    return reader;
}

Reader KeyboardWithoutDriver() {
    Reader reader;
    reader.name = "Cherry SmartBoard XX44 01 00";
    reader.isSecureByName = true;
    reader.asked = reader.connected = reader.direct = reader.featuresAsked = true;
    reader.state = SCARD_STATE_EMPTY;
    reader.attributes = {Told(SCARD_ATTR_VENDOR_NAME, "Cherry\x1B[2J"),
                         Failed(SCARD_ATTR_VENDOR_IFD_TYPE, SCARD_E_UNSUPPORTED_FEATURE),
                         Failed(SCARD_ATTR_DEVICE_UNIT, SCARD_E_INSUFFICIENT_BUFFER)};
    reader.featuresCode = SCARD_E_UNSUPPORTED_FEATURE;
    return reader;
}

Reader HeldReader() {
    Reader reader;
    reader.name = "Alcor Micro AU9540 02 00";
    reader.asked = true;
    reader.state = SCARD_STATE_PRESENT | SCARD_STATE_EXCLUSIVE;
    reader.cardCode = SCARD_E_SHARING_VIOLATION;
    return reader;
}

Reader HangingReader() {
    Reader reader;
    reader.name = "SCM Microsystems Inc. SCR 3310 03 00";
    reader.asked = true;
    reader.state = SCARD_STATE_PRESENT;
    reader.hangingCall = "SCardConnect";
    return reader;
}

std::vector<UsbReader> SampleUsb() {
    return {{"1-1.1", "0c4b", "0500", "REINER SCT", "cyberJack RFID standard", "0987654321", "usbfs", 1, 4, true},
            {"1-1.3", "072f", "2200", "ACS", "ACR122U PICC Interface", "", "pn533_usb", 1, 6},
            {"2-1", "08e6", "3437", "", "", "GEM77777", "", 2, 3}};
}

ConfigurationState SampleConfiguration() {
    ConfigurationState state;
    FileFacts& file = state.machine.file;
    file = {"/etc/vantor/lumoclient/config",
            true,
            true,
            false,
            "root",
            "lumoadmin",
            0664,
            912,
            SampleTime - 3600,
            true,
            false,
            EACCES};
    state.machine.parsed = true;
    state.machine.invalid = {{12, "config/lumo_Client/Reader0/UseGUI \"Maybe\"", "unzulässiger Wert"}};
    state.machine.unread = {"config/lumo_Client/Lanugage"};
    state.machine.putAside = true;
    state.user.file = {
        std::string(SampleHome) + "/.vantor/lumoclient/config", false, false, false, "", "", 0, 0, 0, false, true, 0};
    state.settings.readers = {
        {"Reader0", "PCSC Reader", "REINER SCT cyberJack RFID standard (0987654321) 00 00", "", true},
        {"Reader1", "PCSC Reader", "Gemalto PC Twin (5550001) 04 00", "", true},
        {"Reader2", "cyberJack pinpad", "cyberJack pinpad", "libctapi.so", true}};
    state.settings.traceLevel = 128;
    state.settings.traceMode = 2;
    state.settings.traceFile = std::string(SampleHome) + "/.vantor/lumo Client/Trace/lumop11.log";
    state.settings.miniDriverLogging = 1;
    state.settings.language = 175;
    state.settings.clientVersion = "2.0";
    return state;
}

} // namespace

Report SampleReport() {
    Report report;
    report.version = "1.0.0";
    report.time = SampleTime;
    report.service = {ServiceState::Fine, 0, "", "/run/pcscd/pcscd.comm", "/usr/sbin/pcscd", 4711, 'S', true, {}};
    report.listed = true;
    report.readers = {PinPadReader(), KeyboardWithoutDriver(), HeldReader(), HangingReader()};
    report.usbReaders = SampleUsb();
    report.configuration = SampleConfiguration();
    report.logs.client = {
        std::string(SampleHome) + "/.vantor/lumo Client/Trace/",
        true,
        true,
        true,
        {{"lumop11.log", std::int64_t{120} << 20, SampleTime - 60}, {"lumop11_0.log", 17, SampleTime - 90000}}};
    report.logs.miniDriver = {"/etc/vantor/LumoMiniDriver/Log/", true, false, true, {}};
    return report;
}

std::vector<std::string> SampleSecrets() {
    return {"0987654321", "5550001", "GEM77777", SampleHome};
}

std::string SampleText(const Report& report, const std::vector<Finding>& findings) {
    return FormatText(report, findings) + FormatJson(report, findings, false);
}

std::string Golden(const std::string& name, const std::string& actual) {
    const std::string path = std::string(GOLDEN_FOLDER "/") + name;
    if (std::getenv("LUMOADMIN_UPDATE_GOLDEN") != nullptr) {
        test::WriteText(path, actual);
    }
    return test::ReadText(path);
}
