// Test helper: puts the whole process under a comma-decimal locale, as a
// host that called setlocale(LC_ALL, "") on a German desktop does; back to
// "C" at the end. `active` is false where no such locale is installed.
#pragma once

#include <clocale>

struct CommaLocale {
    bool active = false;
    CommaLocale() {
        for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "de_DE"}) {
            active = std::setlocale(LC_ALL, name) != nullptr && *std::localeconv()->decimal_point == ',';
            if (active) return;
        }
        std::setlocale(LC_ALL, "C");
    }
    ~CommaLocale() { std::setlocale(LC_ALL, "C"); }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;
};
