#ifndef ATCMD_IDENTITY_H
#define ATCMD_IDENTITY_H

#include <string>

#include "include/result_codes.h"

struct sModemInfo;

// Identity of the modem: maker, model, firmware, numbers; and its temperature. A response without
// the expected line leaves the defaults. Results are those of the transaction; a CME error stays
// ePORT_CMX_ERROR unless stated otherwise.

ePortReturn getModemManu(int port, sModemInfo& modem);
void parseModemManu(const std::string& response, sModemInfo& modem);

// If the modem answers that its software is not initialised: ePORT_ERROR and model
// eTELIT_MODEL_NOT_INITED, although the transaction succeeded.
ePortReturn getTelitModel(int port, sModemInfo& modem);
void parseTelitModel(const std::string& response, sModemInfo& modem);

ePortReturn getDeviceFirmwareVersion(int port, sModemInfo& modem);
void parseDeviceFirmwareVersion(const std::string& response, sModemInfo& modem);

ePortReturn getDeviceHardware(int port, sModemInfo& modem);
void parseDeviceHardware(const std::string& response, sModemInfo& modem);

// AT+CGSN is the product serial number (3GPP TS 27.007 section 5.4), in these modems the IMEI: both
// fields are filled.
ePortReturn getDeviceIMEI(int port, sModemInfo& modem);
void parseDeviceIMEI(const std::string& response, sModemInfo& modem);

ePortReturn getDeviceCNUM(int port, sModemInfo& modem);
void parseDeviceCNUM(const std::string& response, sModemInfo& modem);

ePortReturn getDeviceTemperature(int port, sModemInfo& modem);
void parseDeviceTemperature(const std::string& response, sModemInfo& modem);

// A modem that refuses the command has one firmware image; that returns ePORT_OK too.
ePortReturn getDeviceDualFirmware(int port, sModemInfo& modem);

// Queries a modem with two images; the image of a modem with only one follows from its model.
// ePORT_ERROR for every failed transaction.
ePortReturn getDeviceFirmwareCarrier(int port, sModemInfo& modem);
void parseDeviceFirmwareCarrier(const std::string& response, sModemInfo& modem);

// Slot 0 or 1. For another slot, or a modem with one image, returns ePORT_ERROR and sends nothing.
// The record does not change; the modem restarts by itself.
ePortReturn switchDeviceDualFirmware(int port, sModemInfo& modem, signed char slot);

// version is "-1" if it cannot be read. A CME error is returned as its number.
ePortReturn getDeviceFirmwareCfgVer(const int& port, std::string& version);
void parseFirmwareCfgVer(const std::string& response, std::string& version);

// Forgets the last logged temperature level.
void resetIdentityState();

#endif
