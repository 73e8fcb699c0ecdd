#pragma once

// The words shared by the whole program: the server's API vocabulary, template
// and settings keys, file and table names, formats and the version title.
// Identifiers are ours; the values are a contract with the server, the files
// on disk and the operator, and are kept as they stand, misspellings included.
// The words in use come first; the rest of the server's vocabulary is at the end.

#include "core/version.h"

#include <QMap>
#include <QString>
#include <QStringList>

// Message names: the values of "cmd".
namespace Command {
inline const QString authReq = QStringLiteral("auth_req");
inline const QString authResp = QStringLiteral("auth_resp");
inline const QString getDataReq = QStringLiteral("get_data_req");
inline const QString getDataResp = QStringLiteral("get_data_resp");
inline const QString getDevicesReq = QStringLiteral("get_devices_req");
inline const QString getDevicesResp = QStringLiteral("get_devices_resp");
inline const QString rx = QStringLiteral("rx");
inline const QString sendDataReq = QStringLiteral("send_data_req");
inline const QString sendDataResp = QStringLiteral("send_data_resp");
} // namespace Command

// JSON keys of the server's API and their value words.
namespace JsonKey {
inline const QString ack = QStringLiteral("ack");
inline const QString cmd = QStringLiteral("cmd");
inline const QString data = QStringLiteral("data");
inline const QString dataList = QStringLiteral("data_list");
inline const QString devEui = QStringLiteral("devEui");
inline const QString devicesList = QStringLiteral("devices_list");
inline const QString devName = QStringLiteral("devName");
inline const QString direction = QStringLiteral("direction");
inline const QString dr = QStringLiteral("dr");
inline const QString errString = QStringLiteral("err_string");
inline const QString fcnt = QStringLiteral("fcnt");
inline const QString freq = QStringLiteral("freq");
inline const QString limit = QStringLiteral("limit");
inline const QString login = QStringLiteral("login");
inline const QString gatewayId = QStringLiteral("gatewayId");
inline const QString OTAA = QStringLiteral("OTAA");
inline const QString appEui = QStringLiteral("appEui");
inline const QString password = QStringLiteral("password");
inline const QString port = QStringLiteral("port");
inline const QString rssi = QStringLiteral("rssi");
inline const QString select = QStringLiteral("select");
inline const QString snr = QStringLiteral("snr");
inline const QString status = QStringLiteral("status");
inline const QString token = QStringLiteral("token");
inline const QString ts = QStringLiteral("ts");
inline const QString type = QStringLiteral("type");
} // namespace JsonKey

// Keys of the device template files.
namespace TemplateKey {
inline const QString appEui = QStringLiteral("app_eui");
inline const QString devEui = QStringLiteral("devEui");
inline const QString fcnt = QStringLiteral("fcnt");
inline const QString gatewayId = QStringLiteral("gatewayId");
inline const QString rssi = QStringLiteral("rssi");
inline const QString snr = QStringLiteral("snr");
inline const QString ts = QStringLiteral("ts");
inline const QString color = QStringLiteral("color");
inline const QString dataBitBias = QStringLiteral("data_bit_bias");
inline const QString dataBitSize = QStringLiteral("data_bit_size");
inline const QString dataCode = QStringLiteral("data_code");
inline const QString dataName = QStringLiteral("data_name");
inline const QString dataType = QStringLiteral("data_type");
inline const QString devicePackets = QStringLiteral("device_packets");
inline const QString devType = QStringLiteral("dev_type");
inline const QString endianness = QStringLiteral("endianness");
inline const QString packetBias = QStringLiteral("packet_bias");
inline const QString packetFields = QStringLiteral("packet_fields");
inline const QString packetSize = QStringLiteral("packet_size");
inline const QString packetType = QStringLiteral("packet_type");
inline const QString regBitBias = QStringLiteral("reg_bit_bias");
inline const QString regBitSize = QStringLiteral("reg_bit_size");
inline const QString regMapBias = QStringLiteral("reg_map_bias");
inline const QString serverData = QStringLiteral("server_data");
inline const QString signedWords = QStringLiteral("signed_words");
inline const QString twosComplement = QStringLiteral("twos_complement");
// Opt-in: how a ModBus write of holding registers becomes a downlink.
inline const QString downlinks = QStringLiteral("downlinks");
inline const QString name = QStringLiteral("name");
inline const QString loraPort = QStringLiteral("port");
inline const QString confirmed = QStringLiteral("confirmed");
inline const QString minInterval = QStringLiteral("min_interval");
inline const QString deadline = QStringLiteral("deadline");
inline const QString statusReg = QStringLiteral("status_reg");
inline const QString statusTimeReg = QStringLiteral("status_time_reg");
inline const QString multiplier = QStringLiteral("multiplier");
inline const QString offset = QStringLiteral("offset");
inline const QString min = QStringLiteral("min");
inline const QString max = QStringLiteral("max");
} // namespace TemplateKey

// Uplink packet kinds. The order is significant: elements 0 and 2 are the
// uplink kinds that the program accepts.
inline const QStringList kPacketTypeNames = {
    QStringLiteral("UNCONF_UP"), QStringLiteral("UNCONF_DOWN"),
    QStringLiteral("CONF_UP"), QStringLiteral("CONF_DOWN"),
    QStringLiteral("JOIN_REQ"), QStringLiteral("JOIN_ACC"),
    QStringLiteral("MAC_LINKCHECK_REQ"), QStringLiteral("MAC_LINKCHECK_ANS"),
    QStringLiteral("MAC_LINKADR_REQ"), QStringLiteral("MAC_LINKADR_ANS"),
    QStringLiteral("MAC_DUTYCYCLE_REQ"), QStringLiteral("MAC_DUTYCYCLE_ANS"),
    QStringLiteral("MAC_RXPARAMSETUP_REQ"), QStringLiteral("MAC_RXPARAMSETUP_ANS"),
    QStringLiteral("MAC_DEVSTATUS_REQ"), QStringLiteral("MAC_DEVSTATUS_ANS"),
    QStringLiteral("MAC_NEWCHAN_REQ"), QStringLiteral("MAC_NEWCHAN_ANS"),
    QStringLiteral("MAC_RXTIMING_REQ"), QStringLiteral("MAC_RXTIMING_ANS"),
    QStringLiteral("MAC_TXPARAM_REQ"), QStringLiteral("MAC_TXPARAM_ANS"),
    QStringLiteral("MAC_DLCHAN_REQ"), QStringLiteral("MAC_DLCHAN_ANS"),
    QStringLiteral("MAC_PROPRIETARY"),
};
inline constexpr int kUnconfirmedUplinkIndex = 0;
inline constexpr int kConfirmedUplinkIndex = 2;

// QDateTime formats.
namespace DateTimeFormat {
inline const QString logStamp = QLatin1String("dd-MMM-yy HH:mm:ss.zzz");
inline const QString lastReception = QLatin1String("dd-MMM-yy HH:mm:ss");
} // namespace DateTimeFormat

// Files and folders in the working directory.
namespace FileName {
inline const QString database = QStringLiteral("server.db");
inline const QString settings = QStringLiteral("settings.conf");
inline const QString tcpTemplate = QStringLiteral("TCP.json");
inline const QString deviceFolder = QStringLiteral("deviceFolder");
inline const QString logBase = QStringLiteral("history");
} // namespace FileName

// Names of the SQLite connection and tables.
namespace DbName {
inline const QString connection = QStringLiteral("server");
inline const QString registerTable = QStringLiteral("dev_data");
inline const QString deviceTable = QStringLiteral("devices");
inline const QString tcpDeviceTable = QStringLiteral("devicesTCP");
// Opt-in, beside the register rows: the decimals a scaled value keeps.
inline const QString decimalsTable = QStringLiteral("dev_data_decimals");
} // namespace DbName

// Column order of the register table; the same numbers are the columns of
// every register model in the interface.
inline const QStringList kRegisterColumns = {
    QStringLiteral("device"), QStringLiteral("port"), QStringLiteral("reg_addr"),
    QStringLiteral("start_value"), QStringLiteral("grating_period"), QStringLiteral("bit_size"),
    QStringLiteral("data_type"), QStringLiteral("value"), QStringLiteral("full_value"),
    QStringLiteral("time"), QStringLiteral("name"), QStringLiteral("unit"),
    QStringLiteral("parent"), QStringLiteral("source"),
};

// Column order of the two device tables (the TCP one stops before start_addr).
inline const QStringList kDeviceColumns = {
    QStringLiteral("device"), QStringLiteral("name"), QStringLiteral("app_eui"),
    QStringLiteral("dev_eui"), QStringLiteral("port"), QStringLiteral("start_addr"),
};

// Data type words of a template.
namespace DataType {
inline const QString boolean = QStringLiteral("boolean");
inline const QString integer = QStringLiteral("integer");
inline const QString text = QStringLiteral("text");
inline const QString uinteger = QStringLiteral("uinteger");
} // namespace DataType

// What the server itself tells about an uplink, as a template may map it.
struct SServerDataFormat
{
    QString key;
    int bitSize = 0;
    QString dataType;
};

inline const QMap<QString, SServerDataFormat> kServerDataFormats = {
    {TemplateKey::ts, {TemplateKey::ts, 64, DataType::uinteger}},
    {TemplateKey::rssi, {TemplateKey::rssi, 16, DataType::integer}},
    {TemplateKey::gatewayId, {TemplateKey::gatewayId, 64, DataType::text}},
    {TemplateKey::devEui, {TemplateKey::devEui, 64, DataType::text}},
    {TemplateKey::snr, {TemplateKey::snr, 16, DataType::integer}},
    {TemplateKey::fcnt, {TemplateKey::fcnt, 32, DataType::uinteger}},
};

// Keys of "settings.conf".
namespace SettingsKey {
inline const QString expandedLog = QLatin1String("expanded_log");
inline const QString filesCounter = QLatin1String("files_counter");
inline const QString fileMaxSize = QLatin1String("file_max_size");
inline const QString maxFilesCounter = QLatin1String("max_files_counter");
inline const QString serverPrefix = QLatin1String("server/");
inline const QString ip = QLatin1String("ip");
inline const QString login = QLatin1String("login");
inline const QString password = QLatin1String("password");
inline const QString port = QLatin1String("port");
// Written only by quillbar-tool login: the window itself never stores the scheme.
inline const QString scheme = QLatin1String("scheme");
inline const QString useLog = QLatin1String("use_log");
// The port of the status registers; absent or 0, they are off.
inline const QString statusPort = QLatin1String("status/port");
// Opt-in: a read that meets no stored register answers exception 02, not zeros.
inline const QString strictAddresses = QLatin1String("modbus/strict_addresses");
// Opt-in, one key a ModBus device (max_age/DEVEUI): the seconds its data may
// age before its reads answer exception 0B.
inline const QString maxAgeGroup = QLatin1String("max_age");
// Opt-in, one key a port (writable_ports/PORT=true): ModBus writes on the port
// become downlinks where a device's template has a "downlinks" section.
inline const QString writablePortsGroup = QLatin1String("writable_ports");
} // namespace SettingsKey

// What the keys hold while unset, and the unit and ranges in which the dialog
// and quillbar-tool take the log's files.
namespace SettingsDefault {
inline constexpr bool useLog = true;
inline constexpr bool expandedLog = false;
inline constexpr qint64 fileMaxSize = 1000000;
inline constexpr qint64 bytesPerMb = 1000000;
// In effect: the log reads an unset count as 0, so each rotation empties its one file.
inline constexpr int maxFilesCounter = 0;
inline constexpr int leastFiles = 1;
inline constexpr int mostFiles = 20;
inline constexpr int mostFileSizeMb = 100000;
// The dialog's spin box cannot show 0; for an unset count it offers its
// largest, which Save then stores.
inline constexpr int maxFilesOffered = mostFiles;
inline constexpr bool strictAddresses = false;
} // namespace SettingsDefault

// The status registers: the health of the running bridge, from memory, on a
// ModBus port of their own. Two-register values are high word first.
namespace StatusBlock {
inline constexpr quint16 layoutVersion = 1;
// Then two registers a stored ModBus device, by ascending device id.
inline constexpr quint16 deviceAgeBase = 100;
inline constexpr quint16 deviceAgeWidth = 2;
inline const QString deviceAgeName = QStringLiteral("seconds since last stored uplink");
// An age that has no start yet.
inline constexpr quint32 never = 0xFFFFFFFFu;

enum EField {
    LayoutVersion = 0,
    SessionState = 1,
    SecondsSinceUplink = 2,
    SecondsSinceStart = 4,
    UplinksReceived = 6,
    UplinksStored = 8,
    RequestsAnswered = 10,
    ModBusDevices = 12,
    TcpDevices = 13,
    ListenersNotOpen = 14,
    ConnectionsLost = 15,
    UplinksWaiting = 17,
    UplinksDelayed = 18,
    UplinksDropped = 20,
    UnknownDeviceUplinks = 22,
    WritesReceived = 24,
    DownlinksSent = 26,
    DownlinksRefused = 28,
    DownlinksExpired = 30,
};

struct SField
{
    quint16 address;
    quint16 width;
    QString name;
};

inline const QList<SField> kFields = {
    {LayoutVersion, 1, QStringLiteral("layout version")},
    {SessionState, 1, QStringLiteral("session state")},
    {SecondsSinceUplink, 2, QStringLiteral("seconds since last uplink")},
    {SecondsSinceStart, 2, QStringLiteral("seconds since start")},
    {UplinksReceived, 2, QStringLiteral("uplinks received")},
    {UplinksStored, 2, QStringLiteral("uplinks stored")},
    {RequestsAnswered, 2, QStringLiteral("ModBus requests answered")},
    {ModBusDevices, 1, QStringLiteral("ModBus devices published")},
    {TcpDevices, 1, QStringLiteral("TCP devices published")},
    {ListenersNotOpen, 1, QStringLiteral("listeners that could not open their port")},
    {ConnectionsLost, 2, QStringLiteral("server connections lost")},
    {UplinksWaiting, 1, QStringLiteral("uplinks waiting for the register file")},
    {UplinksDelayed, 2, QStringLiteral("uplinks that waited for the register file")},
    {UplinksDropped, 2, QStringLiteral("uplinks dropped while the register file was busy")},
    {UnknownDeviceUplinks, 2, QStringLiteral("uplinks of unknown devices")},
    {WritesReceived, 2, QStringLiteral("ModBus writes received")},
    {DownlinksSent, 2, QStringLiteral("downlinks sent for writes")},
    {DownlinksRefused, 2, QStringLiteral("downlinks refused by the server")},
    {DownlinksExpired, 2, QStringLiteral("downlinks expired unsent")},
};
inline constexpr quint16 fixedBlockEnd = DownlinksExpired + 2;
} // namespace StatusBlock

// Version title shown in the main window, the project's version in CMake. The
// release-candidate suffix is empty for a release build.
inline const QString kProgramVersion = QStringLiteral(QUILLBAR_VERSION);
inline const QString kReleaseSuffix;
inline const QString kProgramTitle = QStringLiteral("Quillbar %1%2").arg(
    kProgramVersion, kReleaseSuffix.isEmpty() ? QString() : QStringLiteral("rc") + kReleaseSuffix);

// The rest of the shared vocabulary, which the program does not use today:
// the server's other commands, errors and status words, and formats. It is
// kept whole, so that new code takes its words from here instead of spelling
// them again.

// Root command names of the server's API.
namespace RootCommand {
inline const QString manageGateways = QStringLiteral("manage_gateways");
inline const QString manageDevices = QStringLiteral("manage_devices");
inline const QString getCoverageMap = QStringLiteral("get_coverage_map");
inline const QString deleteDeviceAppdata = QStringLiteral("delete_device_appdata");
inline const QString deleteGateways = QStringLiteral("delete_gateways");
inline const QString deleteDevices = QStringLiteral("delete_devices");
inline const QString deleteUsers = QStringLiteral("delete_users");
inline const QString getGateways = QStringLiteral("get_gateways");
inline const QString getDeviceAppdata = QStringLiteral("get_device_appdata");
inline const QString getData = QStringLiteral("get_data");
inline const QString getDevices = QStringLiteral("get_devices");
inline const QString getDeviceDownlinkQueue = QStringLiteral("get_device_downlink_queue");
inline const QString getUsers = QStringLiteral("get_users");
inline const QString manageDeviceDownlinkQueue = QStringLiteral("manage_device_downlink_queue");
inline const QString sendData = QStringLiteral("send_data");
inline const QString tx = QStringLiteral("tx");
inline const QString manageUsers = QStringLiteral("manage_users");
inline const QString manageDeviceAppdata = QStringLiteral("manage_device_appdata");
} // namespace RootCommand

// Message names: the values of "cmd".
namespace Command {
inline const QString manageGatewaysReq = QStringLiteral("manage_gateways_req");
inline const QString manageGatewaysResp = QStringLiteral("manage_gateways_resp");
inline const QString manageDevicesReq = QStringLiteral("manage_devices_req");
inline const QString manageDevicesResp = QStringLiteral("manage_devices_resp");
inline const QString alterUserResp = QStringLiteral("alter_user_resp");
inline const QString closeAuthReq = QStringLiteral("close_auth_req");
inline const QString closeAuthResp = QStringLiteral("close_auth_resp");
inline const QString console = QStringLiteral("console");
inline const QString deleteDeviceAppdataReq = QStringLiteral("delete_device_appdata_req");
inline const QString deleteDeviceAppdataResp = QStringLiteral("delete_device_appdata_resp");
inline const QString deleteGatewaysReq = QStringLiteral("delete_gateways_req");
inline const QString deleteGatewaysResp = QStringLiteral("delete_gateways_resp");
inline const QString deleteDevicesReq = QStringLiteral("delete_devices_req");
inline const QString deleteDevicesResp = QStringLiteral("delete_devices_resp");
inline const QString deleteUsersReq = QStringLiteral("delete_users_req");
inline const QString deleteUsersResp = QStringLiteral("delete_users_resp");
inline const QString getGatewaysReq = QStringLiteral("get_gateways_req");
inline const QString getGatewaysResp = QStringLiteral("get_gateways_resp");
inline const QString getCoverageMapReq = QStringLiteral("get_coverage_map_req");
inline const QString getCoverageMapResp = QStringLiteral("get_coverage_map_resp");
inline const QString getDeviceAppdataReq = QStringLiteral("get_device_appdata_req");
inline const QString getDeviceAppdataResp = QStringLiteral("get_device_appdata_resp");
inline const QString getDeviceDownlinkQueueReq = QStringLiteral("get_device_downlink_queue_req");
inline const QString getDeviceDownlinkQueueResp = QStringLiteral("get_device_downlink_queue_resp");
inline const QString getUsersReq = QStringLiteral("get_users_req");
inline const QString getUsersResp = QStringLiteral("get_users_resp");
inline const QString manageDeviceDownlinkQueueReq = QStringLiteral("manage_device_downlink_queue_req");
inline const QString manageDeviceDownlinkQueueResp = QStringLiteral("manage_device_downlink_queue_resp");
inline const QString tokenAuthReq = QStringLiteral("token_auth_req");
inline const QString tokenAuthResp = QStringLiteral("token_auth_resp");
inline const QString tx = QStringLiteral("tx");
inline const QString manageUsersReq = QStringLiteral("manage_users_req");
inline const QString manageUsersResp = QStringLiteral("manage_users_resp");
inline const QString manageDeviceAppdataReq = QStringLiteral("manage_device_appdata_req");
inline const QString manageDeviceAppdataResp = QStringLiteral("manage_device_appdata_resp");
} // namespace Command

// Error words of the server.
namespace ServerError {
inline const QString cmdNotFound = QStringLiteral("cmd_not_found");
inline const QString invalidDirection = QStringLiteral("invalidDirection");
inline const QString emptyInputParameterList = QStringLiteral("empty_input_parameter_list");
inline const QString serverInternalError = QStringLiteral("server_internal_error");
inline const QString inaccessibleCommand = QStringLiteral("inaccessible_command");
inline const QString inaccessibleDevEui = QStringLiteral("inaccessible_devEui");
inline const QString invalidLoginOrPassword = QStringLiteral("invalid_login_or_password");
inline const QString invalidCmd = QStringLiteral("invalid_cmd");
inline const QString invalidJsonMsg = QStringLiteral("invalid_json_msg");
inline const QString invalidToken = QStringLiteral("invalid_token");
inline const QString unknownAuth = QStringLiteral("unknown_auth");
inline const QString unknownCmd = QStringLiteral("unknown_cmd");
inline const QString addDataInfo = QStringLiteral("add_data_info");
inline const QString noAttributes = QStringLiteral("no_attributes");
inline const QString noCommandAndDevEui = QStringLiteral("no_command_and_devEui");
inline const QString noReginfo = QStringLiteral("no_reginfo");
} // namespace ServerError

// JSON keys of the server's API and their value words.
namespace JsonKey {
inline const QString ABP = QStringLiteral("ABP");
inline const QString appsKey = QStringLiteral("appsKey");
inline const QString devAddress = QStringLiteral("devAddress");
inline const QString nwksKey = QStringLiteral("nwksKey");
inline const QString action = QStringLiteral("action");
inline const QString addUserList = QStringLiteral("add_user_list");
inline const QString adr = QStringLiteral("adr");
inline const QString appendStatus = QStringLiteral("append_status");
inline const QString appEuiList = QStringLiteral("appEui_list");
inline const QString beginIndex = QStringLiteral("begin_index");
inline const QString active = QStringLiteral("active");
inline const QString gatewayList = QStringLiteral("gateway_list");
inline const QString gatewayAddStatus = QStringLiteral("gateway_add_status");
inline const QString settingsApplyStatus = QStringLiteral("settingsApplyStatus");
inline const QString channelMaskApllied = QStringLiteral("channelMaskApllied");
inline const QString freq4Applied = QStringLiteral("freq4Applied");
inline const QString freq5Applied = QStringLiteral("freq5Applied");
inline const QString freq6Applied = QStringLiteral("freq6Applied");
inline const QString freq7Applied = QStringLiteral("freq7Applied");
inline const QString freq8Applied = QStringLiteral("freq8Applied");
inline const QString delayRx1Applied = QStringLiteral("delayRx1Applied");
inline const QString drRx2Applied = QStringLiteral("drRx2Applied");
inline const QString freqRx2Applied = QStringLiteral("freqRx2Applied");
inline const QString channel10En = QStringLiteral("channel10En");
inline const QString channel11En = QStringLiteral("channel11En");
inline const QString channel12En = QStringLiteral("channel12En");
inline const QString channel13En = QStringLiteral("channel13En");
inline const QString channel14En = QStringLiteral("channel14En");
inline const QString channel15En = QStringLiteral("channel15En");
inline const QString channel16En = QStringLiteral("channel16En");
inline const QString channel1En = QStringLiteral("channel1En");
inline const QString channel2En = QStringLiteral("channel2En");
inline const QString channel3En = QStringLiteral("channel3En");
inline const QString channel4En = QStringLiteral("channel4En");
inline const QString channel5En = QStringLiteral("channel5En");
inline const QString channel6En = QStringLiteral("channel6En");
inline const QString channel7En = QStringLiteral("channel7En");
inline const QString channel8En = QStringLiteral("channel8En");
inline const QString channel9En = QStringLiteral("channel9En");
inline const QString channelMask = QStringLiteral("channelMask");
inline const QString deviceClass = QStringLiteral("class");
inline const QString commandList = QStringLiteral("command_list");
inline const QString color = QStringLiteral("color");
inline const QString companionGateway = QStringLiteral("companionGateway");
inline const QString consoleEnable = QStringLiteral("consoleEnable");
inline const QString dateFrom = QStringLiteral("date_from");
inline const QString dateTo = QStringLiteral("date_to");
inline const QString delayJoin1 = QStringLiteral("delayJoin1");
inline const QString delayJoin2 = QStringLiteral("delayJoin2");
inline const QString delayRx1 = QStringLiteral("delayRx1");
inline const QString delayRx2 = QStringLiteral("delayRx2");
inline const QString deleted = QStringLiteral("deleted");
inline const QString deleteKeys = QStringLiteral("delete_keys");
inline const QString deleteStatus = QStringLiteral("delete_status");
inline const QString deleteUserList = QStringLiteral("delete_user_list");
inline const QString deviceAccess = QStringLiteral("device_access");
inline const QString FULL = QStringLiteral("FULL");
inline const QString SELECTED = QStringLiteral("SELECTED");
inline const QString devEuiList = QStringLiteral("devEui_list");
inline const QString deviceAddStatus = QStringLiteral("device_add_status");
inline const QString downlinkChannel = QStringLiteral("downlinkChannel");
inline const QString drRx2 = QStringLiteral("drRx2");
inline const QString withMacCommands = QStringLiteral("withMacCommands");
inline const QString extraInfo = QStringLiteral("extraInfo");
inline const QString fcntDown = QStringLiteral("fcnt_down");
inline const QString fcntUp = QStringLiteral("fcnt_up");
inline const QString freq4 = QStringLiteral("freq4");
inline const QString freq5 = QStringLiteral("freq5");
inline const QString freq6 = QStringLiteral("freq6");
inline const QString freq7 = QStringLiteral("freq7");
inline const QString freq8 = QStringLiteral("freq8");
inline const QString frequencyPlan = QStringLiteral("frequencyPlan");
inline const QString freqRx2 = QStringLiteral("freqRx2");
inline const QString hex = QStringLiteral("hex");
inline const QString keyword = QStringLiteral("keyword");
inline const QString lastDataTs = QStringLiteral("last_data_ts");
inline const QString lastOnline = QStringLiteral("lastOnline");
inline const QString lastRssi = QStringLiteral("lastRssi");
inline const QString lastSnr = QStringLiteral("lastSnr");
inline const QString latency = QStringLiteral("latency");
inline const QString macData = QStringLiteral("macData");
inline const QString maxPower = QStringLiteral("maxPower");
inline const QString message = QStringLiteral("message");
inline const QString appKey = QStringLiteral("appKey");
inline const QString lastJoinTs = QStringLiteral("last_join_ts");
inline const QString packetStatus = QStringLiteral("packetStatus");
inline const QString position = QStringLiteral("position");
inline const QString altitude = QStringLiteral("altitude");
inline const QString latitude = QStringLiteral("latitude");
inline const QString longitude = QStringLiteral("longitude");
inline const QString preferDr = QStringLiteral("preferDr");
inline const QString preferPower = QStringLiteral("preferPower");
inline const QString queueManageStatus = QStringLiteral("queue_manage_status");
inline const QString reactionTime = QStringLiteral("reactionTime");
inline const QString rxOnly = QStringLiteral("rxOnly");
inline const QString rxSettings = QStringLiteral("rx_settings");
inline const QString rxWindow = QStringLiteral("rxWindow");
inline const QString serverAdrEnable = QStringLiteral("serverAdrEnable");
inline const QString totalNum = QStringLiteral("totalNum");
inline const QString tsList = QStringLiteral("ts_list");
inline const QString unsolicited = QStringLiteral("unsolicited");
inline const QString updateStatus = QStringLiteral("update_status");
inline const QString useDownlinkQueueClassC = QStringLiteral("useDownlinkQueueClassC");
inline const QString userList = QStringLiteral("user_list");
} // namespace JsonKey

// Status words of the server's device operations.
namespace DeviceStatus {
inline const QString added = QStringLiteral("added");
inline const QString updateViaMacBuffer = QStringLiteral("updateViaMacBuffer");
inline const QString dataAdded = QStringLiteral("dataAdded");
inline const QString dataIgnoredQueueDoNotUsed = QStringLiteral("dataIgnored-queueDoNotUsed");
inline const QString emptyDataForUpdate = QStringLiteral("emptyDataForUpdate");
inline const QString frequencyPlanIsAbsent = QStringLiteral("frequencyPlanIsAbsent");
inline const QString serverInternalError = QStringLiteral("serverInternalError");
inline const QString invalidAbpParamList = QStringLiteral("invalidAbpParamList");
inline const QString invalidAppKeyValue = QStringLiteral("invalidAppKeyValue");
inline const QString invalidChannelMaskParamList = QStringLiteral("invalidChannelMaskParamList");
inline const QString invalidClass = QStringLiteral("invalidClass");
inline const QString invalidDelay = QStringLiteral("invalidDelay");
inline const QString invalidDevAddrValue = QStringLiteral("invalidDevAddrValue");
inline const QString invalidDataRate = QStringLiteral("invalidDataRate");
inline const QString invalidDevEui = QStringLiteral("invalidDevEui");
inline const QString invalidFrequencyPlan = QStringLiteral("invalidFrequencyPlan");
inline const QString invalidOtaaParamList = QStringLiteral("invalidOtaaParamList");
inline const QString invalidPower = QStringLiteral("invalidPower");
inline const QString invalidRxWindow = QStringLiteral("invalidRxWindow");
inline const QString invalidSessionKeyValue = QStringLiteral("invalidSessionKeyValue");
inline const QString maxDevCountReached = QStringLiteral("maxDevCountReached");
inline const QString noRegisterKeys = QStringLiteral("noRegisterKeys");
inline const QString notAdded = QStringLiteral("notAdded");
inline const QString nothingToUpdate = QStringLiteral("nothingToUpdate");
inline const QString abpReginfoAlreadyExist = QStringLiteral("abpReginfoAlreadyExist");
inline const QString repetitionDevAddr = QStringLiteral("repetitionDevAddr");
inline const QString otaaReginfoAlreadyExist = QStringLiteral("otaaReginfoAlreadyExist");
inline const QString reginfoAlreadyExist = QStringLiteral("reginfoAlreadyExist");
inline const QString unsupportClass = QStringLiteral("unsupportClass");
inline const QString updated = QStringLiteral("updated");
} // namespace DeviceStatus

// QDateTime formats.
namespace DateTimeFormat {
inline const QString shortDate = QLatin1String("dd-MMM-yy");
inline const QString isoDate = QLatin1String("yyyy-MM-dd");
inline const QString fileDate = QLatin1String("yyyy-MM-dd");
inline const QString dateMinutes = QLatin1String("dd-MMM-yy HH:mm");
inline const QString fileStamp = QLatin1String("yyyy-MM-dd_hh-mm-ss");
inline const QString dottedStamp = QLatin1String("dd.MMM.yy HH:mm:ss");
inline const QString dottedStampTwoLines = QLatin1String("dd.MMM.yy\nHH:mm:ss");
inline const QString isoStamp = QLatin1String("yyyy-MM-dd hh:mm:ss");
inline const QString hoursMinutes = QLatin1String("HH:mm");
inline const QString minutesSeconds = QLatin1String("mm:ss");
inline const QString time = QLatin1String("HH:mm:ss");
} // namespace DateTimeFormat

// Names of the SQLite connection and tables.
namespace DbName {
// As it stands, misspelling included.
inline const QString dalete = QStringLiteral("dalete");
} // namespace DbName
