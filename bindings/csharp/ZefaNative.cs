// P/Invoke declarations over libzefa (ZefaBase/capi/zefa.h), one per C function, and the UTF-8
// crossings. Booleans cross as int, texts as NUL-terminated UTF-8 bytes, JSON as text.
using System;
using System.Runtime.InteropServices;
using System.Text;

namespace ZefaBase.Interop
{
    // Marks a static method that native code calls back. IL2CPP (Unity's ahead-of-time compiler)
    // recognises the attribute by its name and generates the reverse-call wrapper for the method.
    [AttributeUsage(AttributeTargets.Method)]
    public sealed class MonoPInvokeCallbackAttribute : Attribute
    {
        public MonoPInvokeCallbackAttribute(Type delegateType) { DelegateType = delegateType; }
        public Type DelegateType { get; private set; }
    }

    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate void LogCallback(int level, IntPtr line, IntPtr userData);
    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate void JsonCallback(IntPtr json, IntPtr userData);
    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate void StatusCallback(IntPtr status, IntPtr userData);
    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate void DisposeCallback(IntPtr userData);
    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate int OpenUrlOptionsCallback(IntPtr application, IntPtr url, IntPtr optionsJson, IntPtr userData);
    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate int OpenUrlSourceCallback(IntPtr application, IntPtr url, IntPtr sourceApplication, IntPtr annotation, IntPtr userData);
    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate void SceneCallback(IntPtr scene, IntPtr contexts, UIntPtr count, IntPtr userData);
    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate void EventCallback(IntPtr userData);
    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate void LevelCallback(long level, IntPtr userData);
    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate void AmountCallback(double amount, IntPtr first, IntPtr second, IntPtr userData);
    [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
    internal delegate void AdShowCallback(IntPtr first, IntPtr second, IntPtr third, IntPtr fourth, IntPtr fifth, double amount, IntPtr userData);

    // zefa_options: the size first, so the library knows which members this struct has.
    [StructLayout(LayoutKind.Sequential)]
    internal struct Options
    {
        public UIntPtr StructSize;
        public IntPtr BundleDirectory;
        public IntPtr DataDirectory;
        public IntPtr CaBundle;
        public IntPtr LogCallback;
        public IntPtr LogUserData;
        public int ShowInfoLog;
    }

    // zefa_ZefaSDKLifecycleProtocol and zefa_ZefaThirdUploadLoggerProtocol: function pointers,
    // IntPtr.Zero for "not implemented".
    [StructLayout(LayoutKind.Sequential)]
    internal struct LifecycleTable
    {
        public IntPtr OpenUrlOptions, OpenUrlSource, Scene, Dispose;
    }

    [StructLayout(LayoutKind.Sequential)]
    internal struct LoggerTable
    {
        public IntPtr GameStart, RegisterEvent, Login, Level, AddToCart, InitCheckout, Purchase,
            Subscription, AdShow, Log, Dispose;
    }

    internal static class Utf8
    {
        // A NUL-terminated copy for the library; null stays null (the C NULL).
        public static byte[] In(string text)
        {
            if (text == null) return null;
            byte[] bytes = new byte[Encoding.UTF8.GetByteCount(text) + 1];
            Encoding.UTF8.GetBytes(text, 0, text.Length, bytes, 0);
            return bytes;
        }

        // A text the library lends for this call; NULL is null.
        public static string Lent(IntPtr text)
        {
            if (text == IntPtr.Zero) return null;
            int length = 0;
            while (Marshal.ReadByte(text, length) != 0) length++;
            byte[] bytes = new byte[length];
            Marshal.Copy(text, bytes, 0, length);
            return Encoding.UTF8.GetString(bytes);
        }

        // A text the library gave away: read, then freed with zefa_string_free.
        public static string Take(IntPtr text)
        {
            string value = Lent(text);
            Native.zefa_string_free(text);
            return value;
        }

        // Unmanaged copies for a struct's members, freed by the caller with FreeHGlobal.
        public static IntPtr Alloc(string text)
        {
            byte[] bytes = In(text);
            if (bytes == null) return IntPtr.Zero;
            IntPtr copy = Marshal.AllocHGlobal(bytes.Length);
            Marshal.Copy(bytes, 0, copy, bytes.Length);
            return copy;
        }
    }

    internal static class Native
    {
        private const string Lib = "zefa";

        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern int zefa_start(ref Options options);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_version();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_string_free(IntPtr text);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern UIntPtr zefa_main_run_once();

        // Handles and their typed releases.
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaStatusCode_release(IntPtr status);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaSDKLifecycleService_release(IntPtr hub);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaThirdUploadLoggerService_release(IntPtr hub);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaServerCallRetry_release(IntPtr call);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaStaticInfo_release(IntPtr info);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_listener_release(IntPtr listener);

        // ZefaStatusCode.
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_Success();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_Failed();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_ErrorParameter();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_ErrorInternal();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_CLIENT_CONNECTION_ERROR();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_CLIENT_CODE_NOT_SUCCESS();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_CLIENT_HAS_NOT_LOGIN();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_CLIENT_NOT_SUPPORT_THIS_LOGINTYPE();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_CLIENT_GET_LOGIN_PARAMS_FAIL();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_CLIENT_SDK_NOT_INIT();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_CLIENT_AUTO_LOGIN_FAIL();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_CLIENT_HAS_LOGIN();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_NOT_CONNECT();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_RESPONSE_NOTOK();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_SKU_NOT_FOUND();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_BUY_FAIL();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_CLIENT_UNKNOW_EXCEPTION();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_init();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern long zefa_ZefaStatusCode_getCode(StatusCodeHandle status);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern long zefa_ZefaStatusCode_getCode(IntPtr status);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaStatusCode_setCode_(StatusCodeHandle status, long code);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_getMsg(StatusCodeHandle status);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_getMsg(IntPtr status);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaStatusCode_setMsg_(StatusCodeHandle status, byte[] msg);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_withMsg_(StatusCodeHandle status, byte[] msg);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStatusCode_withMsg_(IntPtr status, byte[] msg);

        // ZefaSDKLifecycleService.
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKLifecycleService_sharedInstance();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKLifecycleService_init();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern int zefa_ZefaSDKLifecycleService_application_openURL_options_(LifecycleServiceHandle hub, IntPtr application, byte[] url, byte[] optionsJson);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern int zefa_ZefaSDKLifecycleService_application_openURL_sourceApplication_annotation_(LifecycleServiceHandle hub, IntPtr application, byte[] url, byte[] sourceApplication, IntPtr annotation);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaSDKLifecycleService_scene_openURLContexts_(LifecycleServiceHandle hub, IntPtr scene, IntPtr[] contexts, UIntPtr count);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_lifecycle_listener_add(LifecycleServiceHandle hub, ref LifecycleTable table, IntPtr userData);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern int zefa_lifecycle_listener_remove(LifecycleServiceHandle hub, ListenerHandle listener);

        // ZefaThirdUploadLoggerService.
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaThirdUploadLoggerService_sharedInstance();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaThirdUploadLoggerService_init();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaThirdUploadLoggerService_gameStart(LoggerServiceHandle hub);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaThirdUploadLoggerService_registerEvent(LoggerServiceHandle hub);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaThirdUploadLoggerService_login(LoggerServiceHandle hub);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaThirdUploadLoggerService_level_(LoggerServiceHandle hub, long level);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaThirdUploadLoggerService_addToCart___(LoggerServiceHandle hub, double amount, byte[] first, byte[] second);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaThirdUploadLoggerService_initCheckout___(LoggerServiceHandle hub, double amount, byte[] first, byte[] second);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaThirdUploadLoggerService_purchase___(LoggerServiceHandle hub, double amount, byte[] first, byte[] second);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaThirdUploadLoggerService_subscription___(LoggerServiceHandle hub, double amount, byte[] first, byte[] second);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaThirdUploadLoggerService_adShow______(LoggerServiceHandle hub, byte[] first, byte[] second, byte[] third, byte[] fourth, byte[] fifth, double amount);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_logger_listener_add(LoggerServiceHandle hub, ref LoggerTable table, IntPtr userData);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern int zefa_logger_listener_remove(LoggerServiceHandle hub, ListenerHandle listener);

        // ZefaSDKUtils.
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_objectToJsonString_(byte[] valueJson);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_jsonStringToDictionary_(byte[] text);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_jsonStringToArray_(byte[] text);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern long zefa_ZefaSDKUtils_getTimeStamp();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_nsDateToGmtString_(double secondsSince1970);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_getMainInfo();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_getMainInfoStringForKey_(byte[] key);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_appBundleID();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_appBundleShortVersion();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_appBuildVersion();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_readFile_subPath_(byte[] fileName, byte[] subPath);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_keyChainId();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_idfv();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_idfa();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaSDKUtils_saveInKeyChain_key_value_(byte[] service, byte[] key, byte[] value);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_getFromKeyChain_key_(byte[] service, byte[] key);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaSDKUtils_removeFromKeyChain_key_(byte[] service, byte[] key);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_getSystemVersion();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_getDeviceName();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_getDeviceVersionWithRaw();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaSDKUtils_getNetworkStatus();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern long zefa_ZefaSDKUtils_isVpn();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern long zefa_ZefaSDKUtils_isProxy();

        // ZefaServerCall.
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaServerCall_HOST();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaServerCall_setHOST_(byte[] host);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaServerCall_SET_HOST();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaServerCall_setSET_HOST_(byte[] setHost);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaServerCall_DEVICE_ID_KEY();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaServerCall_setDEVICE_ID_KEY_(byte[] key);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaServerCall_DEVICE_ID();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaServerCall_setDEVICE_ID_(byte[] deviceId);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaServerCall_setHostAndDeviceId___(byte[] host, byte[] setHost, byte[] deviceId);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaServerCall_getRequestHeaders();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaServerCall_newUrl___(int useDiskToken, byte[] path, byte[] token);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaServerCall_postJsonAsyncWithTokenAndRetry_______(int useDiskToken, byte[] path, byte[] paramsJson, byte[] token, long retryTime, IntPtr success, IntPtr failed, IntPtr userData);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaServerCall_getSessionTokenFormDisk();
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern int zefa_ZefaServerCall_getGameAccountIdFormDisk(out long gameAccountId);

        // ZefaServerCallRetry and ZefaStaticInfo.
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaServerCallRetry_initWithPrintStr_url_params_retryTime_success_failed_(byte[] printStr, byte[] url, byte[] paramsJson, ref long retryTime, IntPtr success, IntPtr failed, IntPtr userData);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaServerCallRetry_initWithPrintStr_url_params_retryTime_success_failed_(byte[] printStr, byte[] url, byte[] paramsJson, IntPtr noRetryTime, IntPtr success, IntPtr failed, IntPtr userData);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern void zefa_ZefaServerCallRetry_call(ServerCallRetryHandle call);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStaticInfo_init_(byte[] gameName);
        [DllImport(Lib, CallingConvention = CallingConvention.Cdecl)] public static extern IntPtr zefa_ZefaStaticInfo_json(IntPtr info);
    }
}
