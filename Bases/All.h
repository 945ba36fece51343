// All: every header of the library.

#ifndef NOVU_BASES_ALL_H_
#define NOVU_BASES_ALL_H_

#include "Bases/Base64.h"
#include "Bases/Bases.h"
#include "Bases/Bits.h"
#include "Bases/Buffer.h"
#include "Bases/Crypto.h"
#include "Bases/CryptoBlockCipherSeed.h"
#include "Bases/CryptoHashMd5.h"
#include "Bases/Date.h"
#include "Bases/DateTimeFormat.h"
#include "Bases/Endian.h"
#include "Bases/Export.h"
#include "Bases/FileFind.h"
#include "Bases/FileIo.h"
#include "Bases/FileSys.h"
#include "Bases/Guid.h"
#include "Bases/MemPool.h"
#include "Bases/Module.h"
#include "Bases/Pattern.h"
#include "Bases/Random.h"
#include "Bases/RegEx.h"
#include "Bases/Seed.h"
#include "Bases/Shm.h"
#include "Bases/Size.h"
#include "Bases/String.h"
#include "Bases/TextFileIo.h"
#include "Bases/Time.h"
#include "Bases/Timer.h"
#include "Bases/XmlDoc.h"
#include "Bases/tchar.h"

#endif  // NOVU_BASES_ALL_H_
