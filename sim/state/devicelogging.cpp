#include "devicelogging.h"

Q_LOGGING_CATEGORY(SIM_DEVICE, "sim.device", QtInfoMsg)
