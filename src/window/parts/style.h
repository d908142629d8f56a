// How the window looks beyond what the system's style gives: by the palette, so that it is light or dark with
// it.
#pragma once

namespace corvane {

inline constexpr const char* kWindowStyle = R"(
QGroupBox {
    background: palette(alternate-base);
    border: 1px solid palette(midlight);
    border-radius: 8px;
    margin-top: 1.9em;
    padding: 8px;
    font-weight: 600;
}
QGroupBox::title { subcontrol-origin: margin; left: 2px; top: 4px; }
QGroupBox > QWidget { font-weight: 400; }
QPushButton {
    border: 1px solid palette(mid);
    border-radius: 6px;
    padding: 5px 14px;
    background: palette(button);
}
QPushButton:hover:enabled, QPushButton:focus { border-color: palette(highlight); }
QPushButton:pressed { background: palette(midlight); }
QPushButton:disabled { color: palette(placeholder-text); }
QTabBar::tab { padding: 8px 14px; }
QTabBar::tab:selected { font-weight: 600; border-bottom: 3px solid palette(highlight); }
QTabBar::tab:!selected { border-bottom: 3px solid transparent; }
QScrollArea { border: none; }
)";

}  // namespace corvane
