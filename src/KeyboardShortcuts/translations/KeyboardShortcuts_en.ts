<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
    <name>KeyboardShortcuts</name>
    <message>
        <location filename="../Localization.cpp" line="18"/>
        <source>Record Shortcut</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp" line="19"/>
        <source>Press Keys…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp" line="20"/>
        <source>Space</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp" line="22"/>
        <source>The menu item “%1” already uses this shortcut.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp" line="24"/>
        <source>This shortcut is not allowed.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp" line="26"/>
        <source>The system already uses this shortcut.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp" line="28"/>
        <source>System shortcuts can be changed in your desktop’s keyboard settings.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp" line="30"/>
        <source>OK</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp" line="31"/>
        <source>Use Anyway</source>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>
