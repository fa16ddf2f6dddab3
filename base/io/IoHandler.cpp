#include "base/io/IoHandler.h"

namespace io {

IoHandler::~IoHandler() = default;

void IoHandler::ioWritable(Io&) {}

void IoHandler::ioClosed(Io&) {}

}  // namespace io
