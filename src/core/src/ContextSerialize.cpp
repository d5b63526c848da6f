// Reading and writing of the sub-project file: project identity, settings,
// reference files and read files.
#include "Context.h"

bool Context::serialize() { return true; }

void Context::deserialize() {}

void Context::processProjectInfo(XMLnode*) {}
void Context::processConfiguration(XMLnode*) {}
void Context::processRefFiles(XMLnode*) {}
void Context::processRefFile(XMLnode*, bool) {}
void Context::processReadFiles(XMLnode*) {}
InputFile* Context::processReadFile(XMLnode*) { return nullptr; }
void Context::serializeMultiplexing(XMLnode*, const std::string&, const std::vector<MIDInfo>&,
                                    bool) {}
void Context::deserializeMultiplexing(XMLnode*, std::string&, std::vector<MIDInfo>&, bool&) {}
