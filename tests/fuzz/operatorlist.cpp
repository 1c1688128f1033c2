// The file from which a list of operators is taken, and the world's providers.

#include "operators/operatorlist.h"
#include "operators/providertable.h"
#include "tests/fuzz/fuzz.h"

#include <QBuffer>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    beSilent();
    QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<int>(size));
    const ListFromText read = listFromText(bytes);
    if (read.problem.isEmpty()) {
        const ListFromText again = listFromText(listAsText(read.list));
        require(again.problem.isEmpty() && again.list == read.list,
                "a list is read as it was written");
        for (auto it = read.list.cbegin(); it != read.list.cend(); ++it)
            require(nameProblem(it.key()).isEmpty() && apnProblem(it.value().toString()).isEmpty(),
                    "a list holds no name that cannot be one");
    }
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    readProviders(&buffer);
    return 0;
}
