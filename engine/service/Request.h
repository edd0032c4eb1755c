#pragma once

#include <string>

enum class Method { QuickRepair = 0, AdvancedRepair = 1, FirstPicture = 101, Metadata = 107 };

/** One request, checked: what its method needs is there. Paths are UTF-8. */
struct Request
{
    Method method = Method::Metadata;
    /** The video that is asked about, or repaired. */
    std::string video;
    /** Where a repair is to be written. */
    std::string outFilePath;
    /** The sample of an advanced repair. */
    std::string samplePath;
    /** Where a picture is to be written. */
    std::string photoPath;
    /** What a picture's sides are divided by, at least 1. */
    int scale = 1;
};

/**
 * Reads a request line. Throws EngineError: BadRequest when it is no JSON object or a key is
 * missing or of the wrong kind, UnknownMethod for a method that there is not.
 */
Request parseRequest(const std::string &line);
