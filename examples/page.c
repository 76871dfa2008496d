// Scans a page of a network device into a picture: page DEVICE-IDENTITY FILE.ppm
#include <stdio.h>
#include <stdlib.h>

#include "contract/scantk.h"

#ifdef _WIN32
static IScanner* CreateScanner(void) {
  void* scanner = NULL;
  CoInitializeEx(NULL, COINIT_MULTITHREADED);
  CoCreateInstance(&CLSID_scanner, NULL, CLSCTX_INPROC_SERVER, &IID_IScanner, &scanner);
  return scanner;
}
#else
#include <dlfcn.h>

typedef HRESULT (*GetClassObject)(const GUID* clsid, const GUID* iid, void** object);

static IScanner* CreateScanner(void) {
  void* scanner = NULL;
  void* library = dlopen("libscantk1.so", RTLD_NOW);
  if (!library) return NULL;
  GetClassObject get = (GetClassObject)dlsym(library, "DllGetClassObject");
  void* object = NULL;
  if (FAILED(get(&CLSID_scanner, &IID_IClassFactory, &object))) return NULL;
  IClassFactory* factory = object;
  factory->lpVtbl->CreateInstance(factory, NULL, &IID_IScanner, &scanner);
  factory->lpVtbl->Release(factory);
  return scanner;
}
#endif

// Whether all is well: some conditions come as success with an error code.
static int Good(HRESULT result, const uint32_t* error) {
  if (SUCCEEDED(result) && *error == TERR_NONE) return 1;
  if (*error != TERR_SCANNER_END_OF_PAGE) fprintf(stderr, "%s\n", ToolkitErrorText(*error));
  return 0;
}

int main(int argc, char** argv) {
  IScanner* scanner = CreateScanner();
  if (argc < 3 || !scanner) return 2;
  const IScannerVtbl* call = scanner->lpVtbl;
  WideChar name[260] = {0};  // identities are ASCII
  for (int i = 0; i < 259 && argv[1][i]; ++i) name[i] = (WideChar)argv[1][i];
  FILE* file = fopen(argv[2], "wb");
  if (!file) return 1;

  SCANNER_PARAMETERS page = {0};
  page.dwWidth = 1200;  // 4 x 6 inches, in 1/300 inch
  page.dwLength = 1800;
  page.dwScanMode = T_COLOR;
  page.byBitsPerChannel = 8;
  page.wXResolution = 300;
  page.wYResolution = 300;
  BUFFER_INFO info = {0};
  uint32_t session = 0, error = 0, bytes = 0;
  int good =
      Good(call->OpenScannerSession(scanner, name, T_IO_NETWORK, &session, &error), &error) &&
      Good(call->LockScanner(scanner, session, T_LOCK_PROCESS, 10000, &error), &error) &&
      Good(call->SetScannerParameters(scanner, session, &page, &error), &error) &&
      Good(call->GetBufferInfo(scanner, session, &page, &info, &error), &error) &&
      Good(call->StartScan(scanner, session, &error), &error);
  uint8_t* row = malloc(info.dwBytesPerLine + 1);
  if (good) fprintf(file, "P6 %u %u 255\n", info.dwPixelWidth, info.dwPixelHeight);
  while (good && row) {
    good =
        Good(call->ReadScanEx(scanner, session, row, info.dwBytesPerLine, &bytes, &error), &error);
    fwrite(row, 1, bytes, file);
  }
  const int done = error == TERR_SCANNER_END_OF_PAGE;
  free(row);
  call->StopScan(scanner, session, &error);
  call->UnlockScanner(scanner, session, &error);
  call->CloseScannerSession(scanner, session, &error);
  call->Release(scanner);
  return fclose(file) == 0 && done ? 0 : 1;
}
