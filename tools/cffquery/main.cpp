// cffquery: asks a printer attached by USB what the filter would report, without the spooler.
#include "QueryTool.h"

#include "connection/LibusbPlatform.h"

int main(int argc, char* argv[]) {
    LibusbPlatform platform;
    return QueryTool::run(argc, argv, platform, QueryPipeline::standard());
}
