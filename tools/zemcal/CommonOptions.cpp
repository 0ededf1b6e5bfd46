// Options shared by several subcommands.
#include "Commands.h"

namespace zemcal_tool {

CLI::Option* addFieldSizeOption(CLI::App& sub, double& fieldSize, const char* defaultNote) {
    return sub.add_option("--field-size", fieldSize,
                          std::string("Device span in mm (FieldSize), set before loading: the text format "
                                      "does not store it; a binary file's own value wins (") +
                              defaultNote + ")");
}

}  // namespace zemcal_tool
