// CommandID: tells a parser which device command an answer belongs to.
#pragma once

enum CommandID {
    CMD_SUPPLIES = 1,
    CMD_CONFIGURATION = 2,
    CMD_ROC = 3,
    CMD_GENERAL_INFO = 5,
};
