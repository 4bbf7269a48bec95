// WriterFactory: picks the writer by whether a PPD file path is given.
#include "ppd/WriterFactory.h"

#include "ppd/PPDFileModifier.h"
#include "ppd/PPDStringModifier.h"
#include "ppd/WriterSTDERR.h"
#include "ppd/WriterSTDOUT.h"
#include "support/Logger.h"

IWriter* WriterFactory::createWriter(std::string ppdPath) {
    Logger logger("WriterFactory", "createWriter");
    logger.Log("PPD file Path =%s", ppdPath.c_str());
    PPDWriter* writer = nullptr;
    if (!ppdPath.empty()) {
        writer = new PPDFileModifier(ppdPath);
        logger.Log("Writer Type =%s", "PPDFileModifier");
        writer->setOutputMode(new WriterSTDOUT());
    } else {
        writer = new PPDStringModifier();
        logger.Log("Writer Type =%s", "PPDStringModifier");
        writer->setOutputMode(new WriterSTDERR());
    }
    return writer;
}
