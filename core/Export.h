// QZ_API stands before every class and function that the library exports. Only two builds give it a meaning,
// as a compile definition: that of the library itself and, on Windows, those that use its DLL.
#pragma once

#ifndef QZ_API
#define QZ_API
#endif
