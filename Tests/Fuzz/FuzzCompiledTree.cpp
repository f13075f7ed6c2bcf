// The checking reader of the offline tools (kelres) over arbitrary bytes: no crash, no read
// outside the data, no runaway recursion or allocation. Whatever it accepts is a tree the writer
// can store again, and reading that back gives the same tree; the printer takes any tree.
#include "FuzzCheck.h"

#include "CCompiledTreePrinter.h"
#include "CCompiledTreeReader.h"
#include "CCompiledTreeWriter.h"

#include <cstdint>
#include <vector>

using namespace kel;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    CCompiledTreeReader reader;
    CCompiledNode root;
    if (CError* error = reader.read(data, size, root))
    {
        delete error;
        return 0;
    }
    KEL_FUZZ_CHECK(!CCompiledTreePrinter::print(root).empty());

    std::vector<uint8_t> again;
    CError* error = CCompiledTreeWriter::write(root, again);
    KEL_FUZZ_CHECK(error == nullptr);
    CCompiledTreeReader second;
    CCompiledNode copy;
    error = second.read(again.data(), again.size(), copy);
    KEL_FUZZ_CHECK(error == nullptr);
    KEL_FUZZ_CHECK(copy == root);
    return 0;
}
