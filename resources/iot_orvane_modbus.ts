<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="ru_RU" sourcelanguage="en">
<context>
    <name>CAbstractPanelButton</name>
    <message>
        <source>CAbstractPanelButton { background-color: rgba(%1, %2, %3, %4);}</source>
        <translation>CAbstractPanelButton { background-color: rgba(%1, %2, %3, %4);}</translation>
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
</TS>
