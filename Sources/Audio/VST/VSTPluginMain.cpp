// Entry points; provisional until the VST layer stands.
extern "C" __attribute__((visibility("default"))) void* VSTPluginMain(void*)
{
    return nullptr;
}
