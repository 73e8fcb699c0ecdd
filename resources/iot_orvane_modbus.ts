<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru_RU" sourcelanguage="en">
<context>
    <name>CAbstractDeviceForm</name>
    <message>
        <source>Add new device interface</source>
        <translation>Добавить новый интерфейс устройства</translation>
    </message>
    <message>
        <source>Start address for registers:</source>
        <translation>Начальный адрес регистров:</translation>
    </message>
    <message>
        <source>Invalid TCP port (is used or unsupported)</source>
        <translation>Недопустимый TCP-порт (занят или не поддерживается)</translation>
    </message>
    <message>
        <source>Empty start address</source>
        <translation>Не указан начальный адрес</translation>
    </message>
    <message>
        <source>Max data age, s:</source>
        <translation>Макс. возраст данных, с:</translation>
    </message>
    <message>
        <source>When the device has stored no uplink for longer, ModBus reads of its registers answer exception 0B. Empty or 0: never.</source>
        <translation>Если от устройства дольше не сохранено ни одного пакета, чтение его регистров по ModBus отвечает исключением 0B. Пусто или 0: никогда.</translation>
    </message>
    <message>
        <source>Device's registers</source>
        <translation>Регистры устройства</translation>
    </message>
    <message>
        <source>Connection parameters</source>
        <translation>Параметры подключения</translation>
    </message>
    <message>
        <source>TCP port for device:</source>
        <translation>TCP-порт устройства:</translation>
    </message>
    <message>
        <source>Accessible devices</source>
        <translation>Доступные устройства</translation>
    </message>
    <message>
        <source>Registered device type</source>
        <translation>Зарегистрированные типы устройств</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>ОК</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>Отмена</translation>
    </message>
</context>
<context>
    <name>CAbstractPanelButton</name>
    <message>
        <source>CAbstractPanelButton { background-color: rgba(%1, %2, %3, %4);}</source>
        <translation>CAbstractPanelButton { background-color: rgba(%1, %2, %3, %4);}</translation>
    </message>
</context>
<context>
    <name>CAddNewDeviceForm</name>
    <message>
        <source>WAITING...</source>
        <translation>ОЖИДАНИЕ...</translation>
    </message>
    <message>
        <source>EMPTY LIST OF
KNOWN DEVICE TYPES</source>
        <translation>ПУСТОЙ СПИСОК
ИЗВЕСТНЫХ ТИПОВ УСТРОЙСТВ</translation>
    </message>
    <message>
        <source>SERVER TIMEOUT</source>
        <translation>СЕРВЕР НЕ ОТВЕЧАЕТ</translation>
    </message>
    <message>
        <source>EMPTY DEVICE LIST
FROM SERVER</source>
        <translation>ПУСТОЙ СПИСОК УСТРОЙСТВ
НА СЕРВЕРЕ</translation>
    </message>
    <message>
        <source>NOT NEW DEVICES
ALL DEVICES ALREADY REGISTERED</source>
        <translation>НЕТ НОВЫХ УСТРОЙСТВ
ВСЕ УСТРОЙСТВА УЖЕ ЗАРЕГИСТРИРОВАНЫ</translation>
    </message>
    <message>
        <source>Add new device status</source>
        <translation>Статус добавления нового устройства</translation>
    </message>
    <message>
        <source>Device is not added! See LOG-file for more details</source>
        <translation>Устройство не добавлено! Подробности в LOG-файле</translation>
    </message>
</context>
<context>
    <name>CEditDeviceForm</name>
    <message>
        <source>Edit device's parameters interface</source>
        <translation>Редактирование параметров интерфейса устройства</translation>
    </message>
</context>
<context>
    <name>CRegisterDelegat</name>
    <message>
        <source>ModBUS register[%1]</source>
        <translation>Регистр ModBUS[%1]</translation>
    </message>
    <message>
        <source>ModBUS register[%1..%2]</source>
        <translation>Регистры ModBUS[%1..%2]</translation>
    </message>
    <message>
        <source>NEVER RECEIVING</source>
        <translation>ДАННЫЕ НЕ ПОЛУЧЕНЫ</translation>
    </message>
</context>
<context>
    <name>CSimpleRegisterDelegat</name>
    <message>
        <source>Value = (RAW * Multiplier
+ ExtraValue) * 10^%1</source>
        <translation>Value = (RAW * Multiplier
+ ExtraValue) * 10^%1</translation>
    </message>
    <message>
        <source>Register map bias: </source>
        <translation>Смещение раегистра: </translation>
    </message>
    <message>
        <source>UNSUPPORT</source>
        <translation>БЕЗ ПОДДЕРЖКИ</translation>
    </message>
    <message>
        <source>ExtraValue: </source>
        <translation>ExtraValue: </translation>
    </message>
    <message>
        <source>Multiplier: </source>
        <translation>Multiplier: </translation>
    </message>
    <message>
        <source>Units: </source>
        <translation>Units: </translation>
    </message>
    <message>
        <source>Value = RAW *
Multiplier + ExtraValue</source>
        <translation>Value = RAW *
Multiplier + ExtraValue</translation>
    </message>
    <message>
        <source>Parameter is
TEXT value!</source>
        <translation>Параметром является
ТЕКСТОВОЕ значение!</translation>
    </message>
</context>
<context>
    <name>GlobalSettingsWindow</name>
    <message>
        <source>Включить логирование</source>
        <translation>Включить логирование</translation>
    </message>
    <message>
        <source>Расширенное логирование</source>
        <translation>Расширенное логирование</translation>
    </message>
    <message>
        <source>Количество файлов для логирования:</source>
        <translation>Количество файлов для логирования:</translation>
    </message>
    <message>
        <source>Максимальный размер лога(МБ):</source>
        <translation>Максимальный размер лога(МБ):</translation>
    </message>
    <message>
        <source>Отмена</source>
        <translation>Отмена</translation>
    </message>
    <message>
        <source>Сохранить</source>
        <translation>Сохранить</translation>
    </message>
</context>
<context>
    <name>MainWindow</name>
    <message>
        <source>%1</source>
        <translation>%1</translation>
    </message>
    <message>
        <source>Server authorization</source>
        <translation>Авторизация</translation>
    </message>
    <message>
        <source>://</source>
        <translation>://</translation>
    </message>
    <message>
        <source>:</source>
        <translation>:</translation>
    </message>
    <message>
        <source>Login:</source>
        <translation>Логин:</translation>
    </message>
    <message>
        <source>Password:</source>
        <translation>Пароль:</translation>
    </message>
    <message>
        <source>Connection state...</source>
        <translation>Состояние подключения...</translation>
    </message>
    <message>
        <source>Connect</source>
        <translation>Подлкючиться</translation>
    </message>
    <message>
        <source>Add new device from server</source>
        <translation>Добавление нового устройства с сервера</translation>
    </message>
    <message>
        <source>Edit device parametrs</source>
        <translation>Редактирование параметров устройства</translation>
    </message>
    <message>
        <source>Delete device</source>
        <translation>Удалить устройство</translation>
    </message>
    <message>
        <source>Device [UNKNOWN]</source>
        <translation>Устройство [НЕИЗВЕСТНО]</translation>
    </message>
    <message>
        <source>ModBus-TCP parameters</source>
        <translation>Параметры ModBus-TCP</translation>
    </message>
    <message>
        <source>Device ID:</source>
        <translation>ID устройства:</translation>
    </message>
    <message>
        <source>ANY VALID VALUE</source>
        <translation>ЛЮБОЕ ДОПУСТИМОЕ ЗНАЧЕНИЕ</translation>
    </message>
    <message>
        <source>TCP port:</source>
        <translation>TCP-порт:</translation>
    </message>
    <message>
        <source>Begin register:</source>
        <translation>Начальный регистр:</translation>
    </message>
    <message>
        <source>Device:%1 [%2]</source>
        <translation>Устройство:%1 [%2]</translation>
    </message>
    <message>
        <source>Add new ModBUS device interface</source>
        <translation>Добавить новый ModBus интерфейс устройства</translation>
    </message>
    <message>
        <source>Add new TCP device interface</source>
        <translation>Добавить новый TCP интерфейс устройства</translation>
    </message>
</context>
<context>
    <name>CSimpleRegisterEditWidget</name>
    <message>
        <source>Decimals the stored value keeps: it is stored times 10 to this power</source>
        <translation>Сколько знаков после запятой сохранить: значение хранится умноженным на 10 в этой степени</translation>
    </message>
    <message>
        <source>Decimals: </source>
        <translation>Знаков: </translation>
    </message>
</context>
</TS>
