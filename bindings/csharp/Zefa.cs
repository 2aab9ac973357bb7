// ZefaBase for C# (Unity, mono): start-up, the main-thread drain, status codes, the two listener
// hubs, server calls and the device and app helpers, over libzefa through P/Invoke.
//
//   Zefa.Start(new ZefaOptions { DataDirectory = Application.persistentDataPath,
//                                Log = (level, line) => Debug.Log(line) });
//   ZefaServerCall.Host = "https://api.example.com";
//   ZefaServerCall.PostJsonAsync(true, "/api/user/info", "{\"lang\":\"en\"}",
//       data => Debug.Log(data), status => Debug.LogWarning(status.Msg));
//   void Update() { Zefa.RunOnce(); }   // outcomes arrive here, on the game's main thread
//
// Handles are SafeHandles: a finaliser releases what Dispose did not. Dictionaries cross as JSON
// text. Callbacks into C# are static methods that find their target through a GCHandle passed
// as the native user_data, the pattern IL2CPP requires (it cannot call instance delegates).
using System;
using System.Runtime.InteropServices;
using ZefaBase.Interop;

namespace ZefaBase
{
    public enum ZefaLogLevel { Info = 0, Debug = 1, Warn = 2, Error = 3 }

    public sealed class ZefaOptions
    {
        // Info.json and resources; default: the executable's directory.
        public string BundleDirectory;
        // User defaults and keychain; default: $XDG_DATA_HOME/<bundle identifier>/.
        public string DataDirectory;
        // A PEM file of trusted certificates replacing the system's store.
        public string CaBundle;
        // Receives every log line instead of standard output, on whichever thread logs.
        public Action<ZefaLogLevel, string> Log;
        // Writes info lines too (warnings and errors always are).
        public bool ShowInfoLog;
    }

    public static class Zefa
    {
        private static readonly LogCallback LogThunk = OnLog;

        // Call once, first, on the main thread. False when the options were refused (an
        // unreadable CA bundle, or a second start) and nothing was applied.
        public static bool Start(ZefaOptions options)
        {
            var native = new Options { StructSize = (UIntPtr)Marshal.SizeOf(typeof(Options)) };
            GCHandle log = default(GCHandle);
            try
            {
                native.BundleDirectory = Utf8.Alloc(options.BundleDirectory);
                native.DataDirectory = Utf8.Alloc(options.DataDirectory);
                native.CaBundle = Utf8.Alloc(options.CaBundle);
                native.ShowInfoLog = options.ShowInfoLog ? 1 : 0;
                if (options.Log != null)
                {
                    log = GCHandle.Alloc(options.Log);  // kept for the life of the process
                    native.LogCallback = Marshal.GetFunctionPointerForDelegate(LogThunk);
                    native.LogUserData = GCHandle.ToIntPtr(log);
                }
                bool started = Native.zefa_start(ref native) != 0;
                if (!started && log.IsAllocated) log.Free();
                return started;
            }
            finally
            {
                Marshal.FreeHGlobal(native.BundleDirectory);
                Marshal.FreeHGlobal(native.DataDirectory);
                Marshal.FreeHGlobal(native.CaBundle);
            }
        }

        public static string Version { get { return Utf8.Lent(Native.zefa_version()); } }

        // Runs the outcomes and timers that are due; call it from the game's Update(). Never
        // blocks. Returns how many ran.
        public static int RunOnce() { return (int)Native.zefa_main_run_once(); }

        [MonoPInvokeCallback(typeof(LogCallback))]
        private static void OnLog(int level, IntPtr line, IntPtr userData)
        {
            var log = (Action<ZefaLogLevel, string>)GCHandle.FromIntPtr(userData).Target;
            Callbacks.Guard(() => log((ZefaLogLevel)level, Utf8.Lent(line)));
        }
    }

    // A result of the SDK: a code and a message. Reading a part that is absent stops the program.
    public sealed class ZefaStatusCode : IDisposable
    {
        internal readonly StatusCodeHandle Handle;

        internal ZefaStatusCode(IntPtr pointer) { Handle = new StatusCodeHandle(pointer); }

        // A code with both parts absent.
        public ZefaStatusCode() : this(Native.zefa_ZefaStatusCode_init()) {}

        public long Code
        {
            get { return Native.zefa_ZefaStatusCode_getCode(Handle); }
            set { Native.zefa_ZefaStatusCode_setCode_(Handle, value); }
        }

        public string Msg
        {
            get { return Utf8.Take(Native.zefa_ZefaStatusCode_getMsg(Handle)); }
            set { Native.zefa_ZefaStatusCode_setMsg_(Handle, Utf8.In(value)); }
        }

        // A new code with this code and `msg`; this one is unchanged.
        public ZefaStatusCode WithMsg(string msg)
        {
            return new ZefaStatusCode(Native.zefa_ZefaStatusCode_withMsg_(Handle, Utf8.In(msg)));
        }

        public void Dispose() { Handle.Dispose(); }

        // The predefined codes, shared by the whole process.
        public static ZefaStatusCode Success { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_Success()); } }
        public static ZefaStatusCode Failed { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_Failed()); } }
        public static ZefaStatusCode ErrorParameter { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_ErrorParameter()); } }
        public static ZefaStatusCode ErrorInternal { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_ErrorInternal()); } }
        public static ZefaStatusCode ClientConnectionError { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_CLIENT_CONNECTION_ERROR()); } }
        public static ZefaStatusCode ClientCodeNotSuccess { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_CLIENT_CODE_NOT_SUCCESS()); } }
        public static ZefaStatusCode ClientHasNotLogin { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_CLIENT_HAS_NOT_LOGIN()); } }
        public static ZefaStatusCode ClientNotSupportThisLoginType { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_CLIENT_NOT_SUPPORT_THIS_LOGINTYPE()); } }
        public static ZefaStatusCode ClientGetLoginParamsFail { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_CLIENT_GET_LOGIN_PARAMS_FAIL()); } }
        public static ZefaStatusCode ClientSdkNotInit { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_CLIENT_SDK_NOT_INIT()); } }
        public static ZefaStatusCode ClientAutoLoginFail { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_CLIENT_AUTO_LOGIN_FAIL()); } }
        public static ZefaStatusCode ClientHasLogin { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_CLIENT_HAS_LOGIN()); } }
        public static ZefaStatusCode ClientAppStorePayNotConnect { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_NOT_CONNECT()); } }
        public static ZefaStatusCode ClientAppStorePayResponseNotOk { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_RESPONSE_NOTOK()); } }
        public static ZefaStatusCode ClientAppStorePaySkuNotFound { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_SKU_NOT_FOUND()); } }
        public static ZefaStatusCode ClientAppStorePayBuyFail { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_CLIENT_APPSTORE_PAY_BUY_FAIL()); } }
        public static ZefaStatusCode ClientUnknownException { get { return new ZefaStatusCode(Native.zefa_ZefaStatusCode_CLIENT_UNKNOW_EXCEPTION()); } }
    }

    // One registration of a listener with a hub. Disposing it does not remove the listener.
    public sealed class ZefaListener : IDisposable
    {
        internal readonly ListenerHandle Handle;
        internal ZefaListener(IntPtr pointer) { Handle = new ListenerHandle(pointer); }
        public void Dispose() { Handle.Dispose(); }
    }

    // Answers to the application's open-URL callbacks. The hub ANDs the answers of its listeners:
    // return true for a URL that is not yours.
    public interface IZefaSDKLifecycleListener
    {
        bool OpenUrl(IntPtr application, string url, string optionsJson);
        bool OpenUrl(IntPtr application, string url, string sourceApplication, IntPtr annotation);
        void OpenUrlContexts(IntPtr scene, IntPtr[] urlContexts);
    }

    // Receives the analytics events that the game reports through the hub.
    public interface IZefaThirdUploadLogger
    {
        void GameStart();
        void RegisterEvent();
        void Login();
        void Level(long level);
        void AddToCart(double amount, string first, string second);
        void InitCheckout(double amount, string first, string second);
        void Purchase(double amount, string first, string second);
        void Subscription(double amount, string first, string second);
        void AdShow(string first, string second, string third, string fourth, string fifth, double amount);
    }
}
