// Reading one setting with a default at the place of use:
// config_int("herc_width", 80). The reads go to GlobalConfig(), whose
// config.dat in the application folder overrides the registry, and report
// an overridden default through Log. They work from load time on.
#pragma once

class Cookie;
class IdStamp;

// Reads the process's config.dat (or `name`) into configb::pconf_, with the
// fallback "\qor\dat\config.dat". 0 on success; non-zero when neither file
// opens or the one that opened has no end line.
int config_init(const char* name);
// Does nothing; kept for callers.
void config_flush();

// The value as text. The pointer lasts for the whole run: the default itself
// when it is in force, else a cached copy of the value.
const char* config_string(const char* name, const char* dflt);
// Copies at most size characters into buffer and terminates at buffer[size],
// so buffer must hold size + 1. Returns buffer.
char* config_string(const char* name, char* buffer, int size, const char* dflt);

int config_int(const char* name, int dflt);
long config_long(const char* name, long dflt);
double config_double(const char* name, double dflt);
bool config_Bool(const char* name, bool dflt);
Cookie config_cookie(const char* name, const Cookie& dflt);
IdStamp config_IdStamp(const char* name, const IdStamp& dflt);
