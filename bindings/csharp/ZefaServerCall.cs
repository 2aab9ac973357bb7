// The backend calls and the device and app helpers. A post's outcome arrives once, on the thread
// that calls Zefa.RunOnce() (the game's main thread), or at once on the calling thread when the
// request cannot start (no stored token, parameters that are not a JSON object).
using System;
using System.Runtime.InteropServices;
using ZefaBase.Interop;

namespace ZefaBase
{
    public static class ZefaServerCall
    {
        // The settings, written at start-up before the first post. SetHost: the Host header; null
        // leaves it out.
        public static string Host { get { return Utf8.Take(Native.zefa_ZefaServerCall_HOST()); } set { Native.zefa_ZefaServerCall_setHOST_(Utf8.In(value)); } }
        public static string SetHost { get { return Utf8.Take(Native.zefa_ZefaServerCall_SET_HOST()); } set { Native.zefa_ZefaServerCall_setSET_HOST_(Utf8.In(value)); } }
        public static string DeviceIdKey { get { return Utf8.Take(Native.zefa_ZefaServerCall_DEVICE_ID_KEY()); } set { Native.zefa_ZefaServerCall_setDEVICE_ID_KEY_(Utf8.In(value)); } }
        public static string DeviceId { get { return Utf8.Take(Native.zefa_ZefaServerCall_DEVICE_ID()); } set { Native.zefa_ZefaServerCall_setDEVICE_ID_(Utf8.In(value)); } }

        public static void SetHostAndDeviceId(string host, string setHost, string deviceId)
        {
            Native.zefa_ZefaServerCall_setHostAndDeviceId___(Utf8.In(host), Utf8.In(setHost), Utf8.In(deviceId));
        }

        // The request headers as a JSON object text.
        public static string GetRequestHeaders() { return Utf8.Take(Native.zefa_ZefaServerCall_getRequestHeaders()); }

        // Host + path + "?sessionToken=" and the stored token (useDiskToken) or `token`; null when
        // no token is stored.
        public static string NewUrl(bool useDiskToken, string path, string token = null)
        {
            return Utf8.Take(Native.zefa_ZefaServerCall_newUrl___(useDiskToken ? 1 : 0, Utf8.In(path), Utf8.In(token)));
        }

        // success receives the reply's "data" object as JSON text; failed a status code.
        public static void PostJsonAsync(bool useDiskToken, string path, string paramsJson,
                                         Action<string> success, Action<ZefaStatusCode> failed)
        {
            PostJsonAsyncWithTokenAndRetry(useDiskToken, path, paramsJson, null, 0, success, failed);
        }

        public static void PostJsonAsyncWithToken(bool useDiskToken, string path, string paramsJson, string token,
                                                  Action<string> success, Action<ZefaStatusCode> failed)
        {
            PostJsonAsyncWithTokenAndRetry(useDiskToken, path, paramsJson, token, 0, success, failed);
        }

        public static void PostJsonAsyncWithTokenAndRetry(bool useDiskToken, string path, string paramsJson, string token,
                                                          long retryTime, Action<string> success, Action<ZefaStatusCode> failed)
        {
            IntPtr userData = PendingCall.Start(success, failed);
            Native.zefa_ZefaServerCall_postJsonAsyncWithTokenAndRetry_______(useDiskToken ? 1 : 0, Utf8.In(path),
                Utf8.In(paramsJson), Utf8.In(token), retryTime, PendingCall.SuccessPointer, PendingCall.FailedPointer, userData);
        }

        // The stored login record's session token and game account id; null when absent.
        public static string GetSessionTokenFromDisk() { return Utf8.Take(Native.zefa_ZefaServerCall_getSessionTokenFormDisk()); }

        public static long? GetGameAccountIdFromDisk()
        {
            long id;
            return Native.zefa_ZefaServerCall_getGameAccountIdFormDisk(out id) != 0 ? id : (long?)null;
        }
    }

    // One backend request that repeats a backend failure after 3 seconds while retries are left.
    // It keeps itself alive while pending, so disposing it after Call() loses nothing.
    public sealed class ZefaServerCallRetry : IDisposable
    {
        private readonly ServerCallRetryHandle call;

        // retryTime null: absent (a backend failure with a message then stops the program).
        public ZefaServerCallRetry(string printStr, string url, string paramsJson, long? retryTime,
                                   Action<string> success, Action<ZefaStatusCode> failed)
        {
            IntPtr userData = PendingCall.Start(success, failed);
            IntPtr pointer;
            if (retryTime.HasValue)
            {
                long retries = retryTime.Value;
                pointer = Native.zefa_ZefaServerCallRetry_initWithPrintStr_url_params_retryTime_success_failed_(
                    Utf8.In(printStr), Utf8.In(url), Utf8.In(paramsJson), ref retries,
                    PendingCall.SuccessPointer, PendingCall.FailedPointer, userData);
            }
            else
            {
                pointer = Native.zefa_ZefaServerCallRetry_initWithPrintStr_url_params_retryTime_success_failed_(
                    Utf8.In(printStr), Utf8.In(url), Utf8.In(paramsJson), IntPtr.Zero,
                    PendingCall.SuccessPointer, PendingCall.FailedPointer, userData);
            }
            if (pointer == IntPtr.Zero)
            {
                PendingCall.Abandon(userData);
                throw new ArgumentException("printStr, url and paramsJson (a JSON object text) are required");
            }
            call = new ServerCallRetryHandle(pointer);
        }

        public void Call() { Native.zefa_ZefaServerCallRetry_call(call); }
        public void Dispose() { call.Dispose(); }
    }

    // The two callbacks of a request, reached from native code through a GCHandle that the
    // callback which runs frees.
    internal sealed class PendingCall
    {
        private Action<string> success;
        private Action<ZefaStatusCode> failed;

        private static readonly JsonCallback SuccessThunk = OnSuccess;
        private static readonly StatusCallback FailedThunk = OnFailed;
        public static readonly IntPtr SuccessPointer = Marshal.GetFunctionPointerForDelegate(SuccessThunk);
        public static readonly IntPtr FailedPointer = Marshal.GetFunctionPointerForDelegate(FailedThunk);

        public static IntPtr Start(Action<string> success, Action<ZefaStatusCode> failed)
        {
            var call = new PendingCall { success = success, failed = failed };
            return GCHandle.ToIntPtr(GCHandle.Alloc(call));
        }

        public static void Abandon(IntPtr userData) { GCHandle.FromIntPtr(userData).Free(); }

        private static PendingCall Finish(IntPtr userData)
        {
            GCHandle handle = GCHandle.FromIntPtr(userData);
            var call = (PendingCall)handle.Target;
            handle.Free();
            return call;
        }

        [MonoPInvokeCallback(typeof(JsonCallback))]
        private static void OnSuccess(IntPtr json, IntPtr userData)
        {
            PendingCall call = Finish(userData);
            if (call.success != null) Callbacks.Guard(() => call.success(Utf8.Lent(json)));
        }

        // The status is lent for this call: the C# side gets its own copy.
        [MonoPInvokeCallback(typeof(StatusCallback))]
        private static void OnFailed(IntPtr status, IntPtr userData)
        {
            PendingCall call = Finish(userData);
            if (call.failed == null) return;
            var copy = new ZefaStatusCode(Native.zefa_ZefaStatusCode_withMsg_(status,
                Utf8.In(Utf8.Take(Native.zefa_ZefaStatusCode_getMsg(status)))));
            Callbacks.Guard(() => call.failed(copy));
        }
    }

    // The SDK's helpers for the app bundle, the keychain and the device. Texts are null when
    // absent; JSON crosses as text.
    public static class ZefaSDKUtils
    {
        public static string ObjectToJsonString(string valueJson) { return Utf8.Take(Native.zefa_ZefaSDKUtils_objectToJsonString_(Utf8.In(valueJson))); }
        public static string JsonStringToDictionary(string text) { return Utf8.Take(Native.zefa_ZefaSDKUtils_jsonStringToDictionary_(Utf8.In(text))); }
        public static string JsonStringToArray(string text) { return Utf8.Take(Native.zefa_ZefaSDKUtils_jsonStringToArray_(Utf8.In(text))); }
        public static long GetTimeStamp() { return Native.zefa_ZefaSDKUtils_getTimeStamp(); }
        public static string DateToGmtString(double secondsSince1970) { return Utf8.Take(Native.zefa_ZefaSDKUtils_nsDateToGmtString_(secondsSince1970)); }

        public static string GetMainInfo() { return Utf8.Take(Native.zefa_ZefaSDKUtils_getMainInfo()); }
        public static string GetMainInfoString(string key) { return Utf8.Take(Native.zefa_ZefaSDKUtils_getMainInfoStringForKey_(Utf8.In(key))); }
        public static string AppBundleId { get { return Utf8.Take(Native.zefa_ZefaSDKUtils_appBundleID()); } }
        public static string AppBundleShortVersion { get { return Utf8.Take(Native.zefa_ZefaSDKUtils_appBundleShortVersion()); } }
        public static string AppBuildVersion { get { return Utf8.Take(Native.zefa_ZefaSDKUtils_appBuildVersion()); } }
        public static string ReadFile(string fileName, string subPath) { return Utf8.Take(Native.zefa_ZefaSDKUtils_readFile_subPath_(Utf8.In(fileName), Utf8.In(subPath))); }

        public static string KeyChainId { get { return Utf8.Take(Native.zefa_ZefaSDKUtils_keyChainId()); } }
        public static string Idfv { get { return Utf8.Take(Native.zefa_ZefaSDKUtils_idfv()); } }
        public static string Idfa { get { return Utf8.Take(Native.zefa_ZefaSDKUtils_idfa()); } }
        public static void SaveInKeyChain(string service, string key, string value) { Native.zefa_ZefaSDKUtils_saveInKeyChain_key_value_(Utf8.In(service), Utf8.In(key), Utf8.In(value)); }
        public static string GetFromKeyChain(string service, string key) { return Utf8.Take(Native.zefa_ZefaSDKUtils_getFromKeyChain_key_(Utf8.In(service), Utf8.In(key))); }
        public static void RemoveFromKeyChain(string service, string key) { Native.zefa_ZefaSDKUtils_removeFromKeyChain_key_(Utf8.In(service), Utf8.In(key)); }

        public static string SystemVersion { get { return Utf8.Take(Native.zefa_ZefaSDKUtils_getSystemVersion()); } }
        public static string DeviceName { get { return Utf8.Take(Native.zefa_ZefaSDKUtils_getDeviceName()); } }
        public static string DeviceVersionWithRaw { get { return Utf8.Take(Native.zefa_ZefaSDKUtils_getDeviceVersionWithRaw()); } }
        public static string NetworkStatus { get { return Utf8.Take(Native.zefa_ZefaSDKUtils_getNetworkStatus()); } }
        // 1 present, 0 absent, -1 unreadable.
        public static long IsVpn { get { return Native.zefa_ZefaSDKUtils_isVpn(); } }
        public static long IsProxy { get { return Native.zefa_ZefaSDKUtils_isProxy(); } }
    }

    public static class ZefaStaticInfo
    {
        // The static info record of this device and app as a JSON object text.
        public static string Json(string gameName)
        {
            IntPtr info = Native.zefa_ZefaStaticInfo_init_(Utf8.In(gameName));
            try { return Utf8.Take(Native.zefa_ZefaStaticInfo_json(info)); }
            finally { Native.zefa_ZefaStaticInfo_release(info); }
        }
    }
}
