<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en" sourcelanguage="en">
<context>
    <name>KeyboardShortcuts</name>
    <message>
        <location filename="../Localization.cpp"/>
        <source>Record Shortcut</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp"/>
        <source>Press Keys…</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp"/>
        <source>Space</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp"/>
        <source>The menu item “%1” already uses this shortcut.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp"/>
        <source>This shortcut is not allowed.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp"/>
        <source>The system already uses this shortcut.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp"/>
        <source>System shortcuts can be changed in your desktop’s keyboard settings.</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp"/>
        <source>OK</source>
        <translation type="unfinished"></translation>
    </message>
    <message>
        <location filename="../Localization.cpp"/>
        <source>Use Anyway</source>
        <translation type="unfinished"></translation>
    </message>
</context>
</TS>
