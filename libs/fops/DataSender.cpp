#include "libs/fops/DataSender.h"

namespace fops {

void DataSender::complete(TransferId) {}

}  // namespace fops
