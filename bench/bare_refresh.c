#include "bench/bare_refresh.h"

#include <reader.h>
#include <stdlib.h>
#include <string.h>
#include <winscard.h>

static const DWORD attributes[] = {0x00010100, 0x00010101, 0x7FFF0001, 0x00010103, 0x7FFF0004, 0x7FFF0003};

static void read_attribute(SCARDHANDLE card, DWORD attribute) {
    DWORD length = 0;
    if (SCardGetAttrib(card, attribute, NULL, &length) != SCARD_S_SUCCESS) {
        return;
    }
    unsigned char* value = malloc(length ? length : 1);
    SCardGetAttrib(card, attribute, value, &length);
    free(value);
}

static void ask_reader(const char* name) {
    SCARDCONTEXT context = 0;
    if (SCardEstablishContext(SCARD_SCOPE_SYSTEM, NULL, NULL, &context) != SCARD_S_SUCCESS) {
        return;
    }
    SCARDHANDLE card = 0;
    DWORD protocol = 0;
    if (SCardConnect(context, name, SCARD_SHARE_SHARED, SCARD_PROTOCOL_T0 | SCARD_PROTOCOL_T1, &card, &protocol) ==
        SCARD_S_SUCCESS) {
        unsigned char atr[33];
        DWORD name_length = 0, state = 0, atr_length = sizeof atr;
        SCardStatus(card, NULL, &name_length, &state, &protocol, atr, &atr_length);
    } else {
        unsigned char features[2048];
        DWORD returned = 0;
        SCardControl(card, CM_IOCTL_GET_FEATURE_REQUEST, NULL, 0, features, sizeof features, &returned);
    }
    for (size_t i = 0; i < sizeof attributes / sizeof attributes[0]; ++i) {
        read_attribute(card, attributes[i]);
    }
    if (card != 0) {
        SCardDisconnect(card, SCARD_UNPOWER_CARD);
    }
    SCardReleaseContext(context);
}

int bare_refresh(void) {
    SCARDCONTEXT context = 0;
    DWORD length = 0;
    if (SCardEstablishContext(SCARD_SCOPE_SYSTEM, NULL, NULL, &context) != SCARD_S_SUCCESS) {
        return 0;
    }
    if (SCardListReaders(context, NULL, NULL, &length) != SCARD_S_SUCCESS) {
        SCardReleaseContext(context);
        return 0;
    }
    char* names = calloc(length + 1, 1);
    SCardListReaders(context, NULL, names, &length);
    SCardReleaseContext(context);
    int readers = 0;
    for (const char* name = names; *name != '\0'; name += strlen(name) + 1) {
        ask_reader(name);
        ++readers;
    }
    free(names);
    return readers;
}
