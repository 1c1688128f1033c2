// Driver information files.

#include "platform/standin/inffile.h"
#include "tests/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    beSilent();
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    QString error;
    const auto inf = platform::InfFile::parse(bytes, &error);
    require(inf.has_value() == error.isEmpty(), "a file is read, or it is said why not");
    if (!inf)
        return 0;
    inf->className();
    inf->classGuid();
    inf->provider();
    for (const char *decoration : {"", "NTamd64", "NTx86"})
        inf->models(decoration);
    return 0;
}
