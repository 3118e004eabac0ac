// What is wrong with the service and its readers.
#include "diag/record/PcscNames.h"
#include "diag/record/Printable.h"
#include "diag/tell/FindingList.h"
#include "diag/tell/Text.h"

#include <reader.h>
#include <winscard.h>

#include <algorithm>
#include <iterator>

namespace Diag {

namespace {

constexpr std::size_t ServedReaders = 16;

bool IsFrozen(const Service& service) {
    return service.state == ServiceState::NotAnswering && service.processState == 'T';
}

std::string DetailOf(const Service& service) {
    switch (service.state) {
    case ServiceState::NotInstalled:
        return std::string();
    case ServiceState::NotAnswering:
        return service.call;
    case ServiceState::NotAsked:
        return ErrorText(service.obstacle);
    default:
        return ResultText(service.code);
    }
}

class ReaderFindings {
public:
    ReaderFindings(const Report& source, const Report& told, FindingList& findings)
        : report(source), shown(told), list(findings) {}

    void Run() {
        if (report.service.state == ServiceState::Fine) {
            ReaderList();
        }
        for (const Reader& reader : report.readers) {
            if (reader.asked && !IsLeftBehind(reader)) {
                OneReader(reader);
            }
        }
    }

private:
    void ReaderList() {
        for (const UsbReader& device : shown.usbReaders) {
            if (device.isListed) {
                continue;
            }
            const bool taken = !device.driver.empty() && device.driver != "usbfs";
            list.Add(taken ? "reader-taken-by-kernel" : "reader-not-listed", UsbName(device),
                     taken ? device.driver : std::string(), device.driver);
        }
        if (report.readers.empty() && report.usbReaders.empty()) {
            list.Add("no-readers", {},
                     report.listCode == SCARD_S_SUCCESS ? std::string() : ResultText(report.listCode));
        }
        if (report.readers.size() >= ServedReaders) {
            list.Add("readers-at-limit");
        }
    }

    /// A service that went away or was suspended fails what its readers were asked then; that is no fault of theirs.
    bool IsLeftBehind(const Reader& reader) const {
        if (IsFrozen(report.service)) {
            return !reader.hangingCall.empty();
        }
        return report.service.state == ServiceState::Failed &&
               (LostService(reader) || reader.featuresCode == SCARD_F_COMM_ERROR);
    }

    const Reader& Shown(const Reader& reader) const {
        return shown.readers[static_cast<std::size_t>(&reader - report.readers.data())];
    }
    const std::string& ShownName(const Reader& reader) const { return Shown(reader).name; }

    void OneReader(const Reader& reader) {
        if (!reader.hangingCall.empty()) {
            const bool isBusy = reader.hangingCall == "SCardConnect" && IsInUse(reader);
            list.Add(isBusy ? "reader-busy" : "reader-not-answering", ShownName(reader), reader.hangingCall);
            return;
        }
        Connecting(reader);
        if (reader.connected) {
            AttributesOf(reader);
            PinPad(reader);
        }
    }

    void Connecting(const Reader& reader) {
        const long code = reader.cardCode != SCARD_S_SUCCESS ? reader.cardCode : reader.directCode;
        if (IsHeld(reader)) {
            list.Add("reader-held", ShownName(reader), ResultText(SCARD_E_SHARING_VIOLATION));
        } else if ((reader.state & SCARD_STATE_UNAVAILABLE) != 0 || code == SCARD_E_READER_UNAVAILABLE ||
                   code == SCARD_E_UNKNOWN_READER) {
            list.Add("reader-gone", ShownName(reader), ResultText(code));
        } else if (!reader.connected) {
            list.Add("reader-failed", ShownName(reader), ResultText(code));
        } else if (IsMute(reader)) {
            list.Add("card-mute", ShownName(reader), ResultText(reader.cardCode));
        } else if (reader.cardCode != SCARD_S_SUCCESS && reader.cardCode != SCARD_E_NO_SMARTCARD &&
                   reader.cardCode != SCARD_W_REMOVED_CARD) {
            list.Add("card-failed", ShownName(reader), ResultText(reader.cardCode));
        }
    }

    static bool IsMute(const Reader& reader) {
        return reader.cardCode == SCARD_W_UNPOWERED_CARD || reader.cardCode == SCARD_W_UNRESPONSIVE_CARD;
    }

    static std::string NameOf(const Attribute& attribute) {
        const auto* const name = std::find_if(std::begin(AttributeNames), std::end(AttributeNames),
                                              [&](const AttributeName& row) { return row.tag == attribute.tag; });
        return name == std::end(AttributeNames) ? HexNumber(attribute.tag) : name->key;
    }

    void AttributesOf(const Reader& reader) {
        std::vector<std::string> failed;
        std::vector<std::string> notText;
        for (const Attribute& attribute : reader.attributes) {
            if (attribute.code != SCARD_S_SUCCESS && attribute.code != SCARD_E_UNSUPPORTED_FEATURE) {
                failed.push_back(NameOf(attribute) + " " + ResultText(attribute.code));
            } else if (attribute.tag != SCARD_ATTR_DEVICE_UNIT && !IsPrintable(attribute.bytes)) {
                notText.push_back(NameOf(attribute)); // the device unit is a number
            }
        }
        list.AddWithDetails("attribute-failed", ShownName(reader), failed);
        list.AddWithDetails("attribute-not-text", ShownName(reader), notText);
    }

    void PinPad(const Reader& reader) {
        if (reader.featuresCode != SCARD_S_SUCCESS && reader.featuresCode != SCARD_E_UNSUPPORTED_FEATURE) {
            list.Add("pinpad-query-failed", ShownName(reader), ResultText(reader.featuresCode));
        }
        if (!IsSoundFeatureList(reader.features)) {
            list.Add("pinpad-list-broken", ShownName(reader), HexBytes(Shown(reader).features));
        }
        const std::vector<Feature> features = ParseFeatures(reader.features);
        if (CanVerify(features) != CanModify(features)) {
            list.Add("pinpad-half", ShownName(reader));
        } else if (reader.isSecureByName && !reader.isSecure) {
            list.Add("pinpad-by-name-only", ShownName(reader));
        } else if (!reader.isSecureByName && reader.isSecure) {
            list.Add("pinpad-not-in-table", ShownName(reader));
        }
    }

    const Report& report;
    const Report& shown;
    FindingList& list;
};

} // namespace

void AddServiceFindings(const Report& /*report*/, const Report& shown, FindingList& list) {
    const Service& service = shown.service;
    if (service.state == ServiceState::Fine) {
        return;
    }
    const bool isAtSocket = service.state == ServiceState::NotReachable || service.state == ServiceState::NoPermission;
    list.Add(IsFrozen(service) ? "service-frozen" : std::string("service-") + StateName(service.state),
             isAtSocket ? service.socket : std::string(), DetailOf(service), std::to_string(service.process));
}

void AddReaderFindings(const Report& report, const Report& shown, FindingList& list) {
    ReaderFindings(report, shown, list).Run();
}

} // namespace Diag
