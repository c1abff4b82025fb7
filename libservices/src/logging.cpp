#include "logging.h"

Q_LOGGING_CATEGORY(LS_DBUS, "ls.dbus", QtInfoMsg)
