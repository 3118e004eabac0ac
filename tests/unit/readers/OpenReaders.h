// The reader classes with their state laid open to tests.
#pragma once

#include "readers/PCSCReader.h"

class OpenBaseReader : public Vantor::BaseCspReader {
public:
    using BaseCspReader::BaseCspReader;

    using BaseCspReader::getKeyPressed;
    using BaseCspReader::hCard;
    using BaseCspReader::hContext;
    using BaseCspReader::modifyPinDirect;
    using BaseCspReader::modifyPinFinish;
    using BaseCspReader::modifyPinStart;
    using BaseCspReader::secure;
    using BaseCspReader::useBeep;
    using BaseCspReader::useGui;
    using BaseCspReader::verifyPinDirect;
    using BaseCspReader::verifyPinFinish;
    using BaseCspReader::verifyPinStart;
};

class OpenPCSCReader : public Vantor::PCSCReader {
public:
    using PCSCReader::activeProtocol;
    using PCSCReader::atr;
    using PCSCReader::atrLength;
    using PCSCReader::getKeyPressed;
    using PCSCReader::hCard;
    using PCSCReader::hContext;
    using PCSCReader::modifyPinDirect;
    using PCSCReader::modifyPinDirectCode;
    using PCSCReader::readerId;
    using PCSCReader::verifyPinDirect;
    using PCSCReader::verifyPinDirectCode;
};
