// The language of messages that exist in several. The ground: stands on nothing.
#pragma once

enum LANGUAGES {
    LANG_EN = 0,
    LANG_DE = 1,
    LANG_BA = 2,
    LANG_FR = 3,
    LANG_HR = 4,
};

// The language of the process. Written by v_set_log_main, which reads it from the configuration.
extern LANGUAGES eLang;

// Returns the language of the configured name: "de", "de_BA", "fr", "hr", anything else English.
LANGUAGES eLanguageOf(const char* cpName);

// Returns the text of the current language; Croatian readers get English.
const char* c_IN_LANGUAGE(const char* cpEnglish, const char* cpGerman, const char* cpBavarian,
                          const char* cpFrench)
    __attribute__((format_arg(1), format_arg(2), format_arg(3), format_arg(4)));
