#include "KeyboardShortcuts/KeyCodeTable.h"

#include <QHash>

#include <utility>

namespace KeyboardShortcuts::KeyCodeTable {
namespace {

// {virtual key code, evdev code}: the same physical key. Keys that a US-ANSI board lacks
// (ISO section, JIS keys) take the key at their place on ISO and JIS PC boards.
constexpr std::pair<int, int> table[] = {
    {0x00, 30}, // a
    {0x01, 31}, // s
    {0x02, 32}, // d
    {0x03, 33}, // f
    {0x04, 35}, // h
    {0x05, 34}, // g
    {0x06, 44}, // z
    {0x07, 45}, // x
    {0x08, 46}, // c
    {0x09, 47}, // v
    {0x0A, 86}, // ISO section: the key left of Z on ISO boards
    {0x0B, 48}, // b
    {0x0C, 16}, // q
    {0x0D, 17}, // w
    {0x0E, 18}, // e
    {0x0F, 19}, // r
    {0x10, 21}, // y
    {0x11, 20}, // t
    {0x12, 2}, // 1
    {0x13, 3}, // 2
    {0x14, 4}, // 3
    {0x15, 5}, // 4
    {0x16, 7}, // 6
    {0x17, 6}, // 5
    {0x18, 13}, // =
    {0x19, 10}, // 9
    {0x1A, 8}, // 7
    {0x1B, 12}, // -
    {0x1C, 9}, // 8
    {0x1D, 11}, // 0
    {0x1E, 27}, // ]
    {0x1F, 24}, // o
    {0x20, 22}, // u
    {0x21, 26}, // [
    {0x22, 23}, // i
    {0x23, 25}, // p
    {0x24, 28}, // return
    {0x25, 38}, // l
    {0x26, 36}, // j
    {0x27, 40}, // '
    {0x28, 37}, // k
    {0x29, 39}, // ;
    {0x2A, 43}, // backslash
    {0x2B, 51}, // ,
    {0x2C, 53}, // /
    {0x2D, 49}, // n
    {0x2E, 50}, // m
    {0x2F, 52}, // .
    {0x30, 15}, // tab
    {0x31, 57}, // space
    {0x32, 41}, // `
    {0x33, 14}, // delete (backspace)
    {0x35, 1}, // escape
    {0x36, 126}, // right command (right Super)
    {0x37, 125}, // command (left Super)
    {0x38, 42}, // shift
    {0x39, 58}, // caps lock
    {0x3A, 56}, // option (left Alt)
    {0x3B, 29}, // control
    {0x3C, 54}, // right shift
    {0x3D, 100}, // right option
    {0x3E, 97}, // right control
    {0x3F, 464}, // function: beyond the X keycode range, never grabbable
    {0x40, 187}, // F17
    {0x41, 83}, // keypad .
    {0x43, 55}, // keypad *
    {0x45, 78}, // keypad +
    {0x47, 69}, // keypad clear: the Num Lock place
    {0x48, 115}, // volume up
    {0x49, 114}, // volume down
    {0x4A, 113}, // mute
    {0x4B, 98}, // keypad /
    {0x4C, 96}, // keypad enter
    {0x4E, 74}, // keypad -
    {0x4F, 188}, // F18
    {0x50, 189}, // F19
    {0x51, 117}, // keypad =
    {0x52, 82}, // keypad 0
    {0x53, 79}, // keypad 1
    {0x54, 80}, // keypad 2
    {0x55, 81}, // keypad 3
    {0x56, 75}, // keypad 4
    {0x57, 76}, // keypad 5
    {0x58, 77}, // keypad 6
    {0x59, 71}, // keypad 7
    {0x5A, 190}, // F20
    {0x5B, 72}, // keypad 8
    {0x5C, 73}, // keypad 9
    {0x5D, 124}, // JIS yen
    {0x5E, 89}, // JIS underscore (ro)
    {0x5F, 95}, // JIS keypad comma
    {0x60, 63}, // F5
    {0x61, 64}, // F6
    {0x62, 65}, // F7
    {0x63, 61}, // F3
    {0x64, 66}, // F8
    {0x65, 67}, // F9
    {0x66, 94}, // JIS eisu: left of space, muhenkan on a PC board
    {0x67, 87}, // F11
    {0x68, 92}, // JIS kana: right of space, henkan on a PC board
    {0x69, 183}, // F13
    {0x6A, 186}, // F16
    {0x6B, 184}, // F14
    {0x6D, 68}, // F10
    {0x6E, 127}, // contextual menu (compose)
    {0x6F, 88}, // F12
    {0x71, 185}, // F15
    {0x72, 110}, // help: the Insert place
    {0x73, 102}, // home
    {0x74, 104}, // page up
    {0x75, 111}, // forward delete
    {0x76, 62}, // F4
    {0x77, 107}, // end
    {0x78, 60}, // F2
    {0x79, 109}, // page down
    {0x7A, 59}, // F1
    {0x7B, 105}, // left arrow
    {0x7C, 106}, // right arrow
    {0x7D, 108}, // down arrow
    {0x7E, 103}, // up arrow
};

struct Maps {
    QHash<int, int> toEvdev;
    QHash<int, int> toCarbon;
};

const Maps& maps()
{
    static const Maps result = [] {
        Maps m;
        for (const auto& [carbon, evdev] : table) {
            m.toEvdev.insert(carbon, evdev);
            m.toCarbon.insert(evdev, carbon);
        }
        return m;
    }();
    return result;
}

std::optional<int> lookUp(const QHash<int, int>& map, int code)
{
    const auto it = map.constFind(code);
    return it == map.cend() ? std::nullopt : std::optional<int>(*it);
}

} // namespace

std::optional<int> evdevCode(int carbonKeyCode)
{
    return lookUp(maps().toEvdev, carbonKeyCode);
}

std::optional<int> carbonKeyCode(int evdevCode)
{
    return lookUp(maps().toCarbon, evdevCode);
}

} // namespace KeyboardShortcuts::KeyCodeTable
